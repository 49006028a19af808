#include "requests.h"

#include "frame.h"
#include "jsontext.h"
#include "logencryption.h"
#include "logmessages.h"
#include "sharedconstants.h"

#include <QDebug>
#include <QJsonDocument>
#include <QJsonObject>

#include <optional>

namespace {

constexpr int kLineBytes = 64; // of a log line, besides the logged object
constexpr int kContainerBytes = 32; // a nested list has 2 bytes of text but takes 100 in memory

/// Logs the bytes. Returns nothing unless they are a complete JSON text that is not empty.
std::optional<QJsonObject> objectIn(const QByteArray &bytes)
{
    qDebug("%s \"%s\"", LogMessages::frame, LogEncryption::encryptionMessage(bytes).constData());
    QJsonParseError error = {};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError)
        qWarning() << "QJsonParseError " << error.errorString();
    if (JsonText::isEmpty(document))
        return {};
    return document.object();
}

/// Returns why the daemon drops the frame and all that follows; null when it does not.
/// @param pending the frame's object so far
const char *faultOf(const Frame::Slice &frame, const QByteArray &pending, int cost)
{
    if (frame.state == Frame::State::ForeignSender)
        return "foreign sender";
    if (frame.state != Frame::State::Complete)
        return "broken frame";
    if (pending.size() > Requests::kMaxObjectBytes || cost > Requests::kMaxCost)
        return "too large";
    return JsonText::hasDuplicateNames(pending) ? "two members of the same name" : nullptr;
}

} // namespace

QVariantList Requests::parse(const QByteArray &received)
{
    QVariantList objects;
    QByteArray pending; // payloads of consecutive frames, until they are a complete object
    int cost = 0;
    for (int position = 0; position < received.size();) {
        const Frame::Slice frame = Frame::take(received, position, Frame::Client);
        position = frame.end;
        pending += frame.payload;
        cost += kLineBytes + pending.size();
        cost += kContainerBytes * (frame.payload.count('[') + frame.payload.count('{'));
        if (const char *fault = faultOf(frame, pending, cost)) {
            qWarning() << "data not sent by a quillon client, the rest of it is dropped:" << fault;
            break;
        }
        if (const auto object = objectIn(pending)) {
            objects.append(*object);
            pending.clear();
        }
    }
    return objects;
}
