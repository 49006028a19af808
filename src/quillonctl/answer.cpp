#include "answer.h"

#include "frame.h"

#include <QJsonDocument>

#include <cstring>

namespace {

/// Told from the header alone: the payload of an over-long frame may never come.
bool isOverLong(const QByteArray &bytes, int position)
{
    qint32 header[2];
    static_assert(sizeof header == Frame::kHeaderBytes);
    if (bytes.size() - position < Frame::kHeaderBytes)
        return false;
    std::memcpy(header, bytes.constData() + position, sizeof header);
    return header[1] > Answer::kMaxPayloadBytes;
}

QString flawOf(Frame::State state)
{
    switch (state) {
    case Frame::State::ForeignSender:
        return QStringLiteral("it does not carry the daemon's sender id");
    case Frame::State::BadLength:
        return QStringLiteral("its length is negative");
    case Frame::State::Complete:
    case Frame::State::CutShort:
        break;
    }
    return {};
}

} // namespace

Answer::Batch Answer::parse(const QByteArray &bytes)
{
    Batch batch;
    while (batch.flaw.isEmpty()) {
        const Frame::Slice frame = Frame::take(bytes, batch.end, Frame::Daemon);
        batch.flaw = flawOf(frame.state);
        if (batch.flaw.isEmpty() && isOverLong(bytes, batch.end))
            batch.flaw = QStringLiteral("it is longer than %1 bytes").arg(kMaxPayloadBytes);
        if (!batch.flaw.isEmpty() || frame.state == Frame::State::CutShort)
            break;

        const QJsonDocument document = QJsonDocument::fromJson(frame.payload);
        if (document.isObject()) {
            batch.messages.append(document.object());
            batch.end = frame.end;
        } else {
            batch.flaw = QStringLiteral("it is no JSON object");
        }
    }
    return batch;
}
