#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QVector>

/// Takes apart what the daemon sends. Pure; any bytes may come in.
namespace Answer {

/// No message of the daemon is anywhere near this.
inline constexpr int kMaxPayloadBytes = 16 * 1024 * 1024;

struct Batch
{
    QVector<QJsonObject> messages;
    int end = 0; ///< position of the first byte that belongs to none of the messages
    QString flaw; ///< why the bytes from there on can never become a message; else empty
};

/// All whole messages from the start of the bytes on. A message that the bytes
/// cut short is no flaw: call again with more.
Batch parse(const QByteArray &bytes);

} // namespace Answer
