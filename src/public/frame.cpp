#include "frame.h"

#include <QtEndian>

QByteArray Frame::pack(Sender sender, const QByteArray &payload)
{
    const qint32 header[] = {sender, payload.size()};
    QByteArray frame;
    frame.reserve(kHeaderBytes + payload.size());
    return frame.append(reinterpret_cast<const char *>(header), kHeaderBytes).append(payload);
}

Frame::Slice Frame::take(const QByteArray &bytes, int position, Sender expected)
{
    const int available = bytes.size() - position;
    if (available < kHeaderBytes)
        return {State::CutShort, {}, position};
    const char *const header = bytes.constData() + position;
    if (qFromUnaligned<qint32>(header) != expected)
        return {State::ForeignSender, {}, position};

    const auto length = qFromUnaligned<qint32>(header + sizeof(qint32));
    if (length < 0)
        return {State::BadLength, {}, position, length};
    if (length > available - kHeaderBytes)
        return {State::CutShort, {}, position, length};

    const int start = position + kHeaderBytes;
    return {State::Complete, bytes.mid(start, length), start + length, length};
}
