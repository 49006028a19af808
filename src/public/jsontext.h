#pragma once

#include <QByteArray>

class QJsonDocument;

/// Checks of JSON texts that Qt's parser does not make.
namespace JsonText {

/// Whether a document is null, `{}` or `[]`. QJsonDocument::isEmpty() is false for the last two.
bool isEmpty(const QJsonDocument &document);

/// Whether an object in a text that Qt's parser accepts has two members of the same name. The
/// parser leaks the first of these if it is a list or an object, so the daemon scans text from
/// outside before it parses it. Any text of n bytes takes O(n log n) time and O(n) memory.
bool hasDuplicateNames(const QByteArray &text);

} // namespace JsonText
