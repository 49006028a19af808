#pragma once

class QJsonDocument;

/// What the daemon asks of JSON texts, wherever they come from.
namespace JsonText {

/// Whether the document holds nothing: no document at all, `{}` or `[]`. The
/// toolkit calls only the first of these empty.
bool isEmpty(const QJsonDocument &document);

} // namespace JsonText
