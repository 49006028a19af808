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

constexpr int kLineBytes = 64; // the rest of a log line, roughly
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

} // namespace

QVariantList Requests::parse(const QByteArray &received)
{
    QVariantList objects;
    QByteArray pending; // payloads of consecutive frames, until they are a complete object
    JsonText::DuplicateNames names; // in the pending bytes
    int cost = 0;
    for (int position = 0; position < received.size();) {
        const Frame::Slice frame = Frame::take(received, position, Frame::Client);
        position = frame.end;
        pending += frame.payload;
        cost += kLineBytes + pending.size();
        cost += kContainerBytes * (frame.payload.count('[') + frame.payload.count('{'));
        if (frame.state != Frame::State::Complete || pending.size() > kMaxObjectBytes
            || cost > kMaxCost || names.add(frame.payload)) {
            qWarning() << "data not sent by a quillon client, the rest of it is dropped";
            break;
        }
        if (const auto object = objectIn(pending)) {
            objects.append(*object);
            pending.clear();
            names = {};
        }
    }
    return objects;
}
