#pragma once

#include <QByteArray>

class QJsonDocument;

/// Checks of JSON texts that Qt's parser does not make.
namespace JsonText {

/// Whether there is no document or an empty one, for which QJsonDocument::isEmpty() is false.
bool isEmpty(const QJsonDocument &document);

/// Whether an object in the text has two members of the same name. Qt's parser leaks the first of
/// these members if it is a list or an object, so the daemon scans text from outside before it
/// parses it. Time is O(n log n) and memory O(n) in the bytes of the text, which may be any.
bool hasDuplicateNames(const QByteArray &text);

} // namespace JsonText
