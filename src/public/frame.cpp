#include "frame.h"

#include <cstring>

namespace {

constexpr int kFieldBytes = sizeof(qint32);

qint32 fieldAt(const QByteArray &bytes, int position)
{
    qint32 value = 0;
    std::memcpy(&value, bytes.constData() + position, kFieldBytes);
    return value;
}

void appendField(QByteArray &bytes, qint32 value)
{
    bytes.append(reinterpret_cast<const char *>(&value), kFieldBytes);
}

} // namespace

QByteArray Frame::pack(Sender sender, const QByteArray &payload)
{
    QByteArray frame;
    frame.reserve(kHeaderBytes + payload.size());
    appendField(frame, sender);
    appendField(frame, payload.size());
    return frame.append(payload);
}

Frame::Slice Frame::take(const QByteArray &bytes, int position, Sender expected)
{
    const int available = bytes.size() - position;
    if (available < kHeaderBytes)
        return {State::CutShort, {}, position};
    if (fieldAt(bytes, position) != expected)
        return {State::ForeignSender, {}, position};

    const qint32 length = fieldAt(bytes, position + kFieldBytes);
    if (length < 0)
        return {State::BadLength, {}, position, length};
    if (length > available - kHeaderBytes)
        return {State::CutShort, {}, position, length};

    const int start = position + kHeaderBytes;
    return {State::Complete, bytes.mid(start, length), start + length, length};
}
