#include "requests.h"

#include "frame.h"
#include "jsontext.h"
#include "logencryption.h"
#include "sharedconstants.h"

#include <QDebug>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

/// The payloads of consecutive frames, until they make an object.
class Pending
{
public:
    bool takes(const QByteArray &payload) const
    {
        return m_frames < Requests::kMaxFramesOfObject && !JsonText::hasTwins(m_bytes + payload);
    }

    void append(const QByteArray &payload, QVariantList &objects)
    {
        m_bytes += payload;
        ++m_frames;
        qDebug() << "byteArray: " << LogEncryption::encryptionMessage(m_bytes);

        QJsonParseError error = {};
        const QJsonDocument document = QJsonDocument::fromJson(m_bytes, &error);
        if (error.error != QJsonParseError::NoError) {
            qWarning() << "QJsonParseError " << error.errorString();
        } else if (!JsonText::isEmpty(document)) {
            objects.append(document.object());
            *this = {};
        }
    }

private:
    QByteArray m_bytes;
    int m_frames = 0;
};

} // namespace

QVariantList Requests::parse(const QByteArray &received)
{
    QVariantList objects;
    Pending pending;
    for (int position = 0; position < received.size();) {
        const Frame::Slice frame = Frame::take(received, position, Frame::Client);
        // Each frame logs all that is pending: without a bound, small frames would make
        // a large log.
        if (frame.state != Frame::State::Complete || !pending.takes(frame.payload)) {
            qWarning() << "data not sent by a quillon client, the rest of it is dropped";
            break;
        }
        position = frame.end;
        pending.append(frame.payload, objects);
    }
    return objects;
}
