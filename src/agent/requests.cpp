#include "requests.h"

#include "frame.h"
#include "jsontext.h"
#include "logencryption.h"
#include "logmessages.h"
#include "sharedconstants.h"

#include <QDebug>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

constexpr int kLineBytes = 64; // the rest of a log line, roughly
constexpr int kContainerBytes = 32; // a nested list has 2 bytes of text but takes 100 in memory

/// Joins the payloads of consecutive frames until they are a complete object.
class Pending
{
public:
    /// Returns false when the payload exceeds a limit or repeats a member name.
    bool add(const QByteArray &payload)
    {
        if (payload.size() > Requests::kMaxObjectBytes - m_bytes.size())
            return false;
        m_bytes += payload;
        m_cost += kLineBytes + m_bytes.size();
        m_cost += kContainerBytes * (payload.count('[') + payload.count('{'));
        return m_cost <= Requests::kMaxCost && !m_names.add(payload);
    }

    /// Moves the object to the list if it is complete.
    void parseInto(QVariantList &objects)
    {
        qDebug("%s \"%s\"", LogMessages::frame,
               LogEncryption::encryptionMessage(m_bytes).constData());

        QJsonParseError error = {};
        const QJsonDocument document = QJsonDocument::fromJson(m_bytes, &error);
        if (error.error != QJsonParseError::NoError) {
            qWarning() << "QJsonParseError " << error.errorString();
        } else if (!JsonText::isEmpty(document)) {
            objects.append(document.object());
            m_bytes.clear();
            m_names = {};
        }
    }

private:
    QByteArray m_bytes;
    JsonText::DuplicateNames m_names; // in these bytes
    int m_cost = 0; // of all frames so far
};

} // namespace

QVariantList Requests::parse(const QByteArray &received)
{
    QVariantList objects;
    Pending pending;
    for (int position = 0; position < received.size();) {
        const Frame::Slice frame = Frame::take(received, position, Frame::Client);
        if (frame.state != Frame::State::Complete || !pending.add(frame.payload)) {
            qWarning() << "data not sent by a quillon client, the rest of it is dropped";
            break;
        }
        position = frame.end;
        pending.parseInto(objects);
    }
    return objects;
}
