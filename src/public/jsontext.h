#pragma once

class QByteArray;
class QJsonDocument;

/// What the daemon asks of JSON texts beyond what the toolkit tells of them.
namespace JsonText {

/// Whether the document holds nothing: no document at all, `{}` or `[]`. The
/// toolkit calls only the first of these empty.
bool isEmpty(const QJsonDocument &document);

/// Whether one object of the text, which need not be valid, has two members of
/// the same name. The toolkit's parser loses the memory of the first one when
/// it holds a list or an object, so a text of a stranger is not parsed then.
bool hasTwins(const QByteArray &text);

} // namespace JsonText
