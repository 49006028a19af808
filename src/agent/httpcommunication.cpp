#include "httpcommunication.h"

#include "healthprobe.h"
#include "logencryption.h"
#include "logmessages.h"
#include "replyguard.h"
#include "sharedconstants.h"

#include <QDebug>
#include <QNetworkConfiguration>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QScopedPointer>
#include <QUrl>

#include <algorithm>
#include <utility>

namespace {

constexpr int kMaxOutstanding = 4;
constexpr int kMaxFailedHandshakes = 100;

QVariantMap headersOf(const QNetworkReply &reply)
{
    QVariantMap headers;
    for (const QNetworkReply::RawHeaderPair &header : reply.rawHeaderPairs())
        headers.insert(QString::fromLatin1(header.first), header.second);
    return headers;
}

} // namespace

HttpCommunication::HttpCommunication(QObject *parent)
    : QObject(parent)
{
    connect(&m_manager, &QNetworkAccessManager::finished, this, &HttpCommunication::replyFinished);
}

// main() disables Qt's network plugins. Without one, every request fails unless the configuration
// is empty. Setting that starts a thread, so it waits for the first request.
void HttpCommunication::enableNetwork()
{
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    if (!std::exchange(m_isManagerSetUp, true))
        m_manager.setConfiguration(QNetworkConfiguration());
    if (m_manager.networkAccessible() != QNetworkAccessManager::NotAccessible)
        return;
    qWarning() << "m_manager.networkAccessible() NotAccessible";
    m_manager.setNetworkAccessible(QNetworkAccessManager::Accessible);
    QT_WARNING_POP
}

void HttpCommunication::sendPost(const QString &url, const QByteArray &data, QString token)
{
    QNetworkRequest request;
    enableNetwork();
    if (!token.isEmpty())
        request.setRawHeader("AuthToken", token.prepend(QLatin1String("Bearer ")).toLatin1());
    // By default Qt asks for compression and unpacks the body without a limit.
    request.setRawHeader("Accept-Encoding", "identity");
    request.setUrl(QUrl(url, QUrl::TolerantMode));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    // By default Qt returns the server's cookies with the next request.
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    dropOldest();
    QNetworkReply *reply = m_manager.post(request, data);
    new ReplyGuard(reply, !HealthProbe::isReply(request.url())); // owned by the reply
    qDebug() << "http sendPost url:" << LogEncryption::encryptionMessage(url);
}

QList<QNetworkReply *> HttpCommunication::outstanding() const
{
    auto replies = m_manager.findChildren<QNetworkReply *>();
    replies.erase(std::remove_if(replies.begin(), replies.end(),
                                 [](const QNetworkReply *reply) { return reply->isFinished(); }),
                  replies.end());
    return replies;
}

// Limits the requests that a silent server keeps outstanding. Emits no signal for
// the dropped request, because a newer one replaces it.
void HttpCommunication::dropOldest()
{
    const QList<QNetworkReply *> replies = outstanding();
    if (replies.size() >= kMaxOutstanding)
        drop(replies.constFirst());
}

void HttpCommunication::drop(QNetworkReply *reply)
{
    reply->disconnect(&m_manager);
    delete reply; // not deleteLater(): thousands could pile up before the event loop runs
}

// Qt leaks a few KiB per failed TLS handshake until its connections are closed.
// Closing them blocks while a reply is outstanding. So wait for outstanding replies
// at first, and drop them after kMaxFailedHandshakes failures.
void HttpCommunication::closeConnections()
{
    const QList<QNetworkReply *> replies = outstanding();
    if (!replies.isEmpty() && ++m_failedHandshakes < kMaxFailedHandshakes)
        return;
    for (QNetworkReply *reply : replies)
        drop(reply);
    m_failedHandshakes = 0;
    m_manager.clearConnectionCache();
}

void HttpCommunication::replyFinished(QNetworkReply *reply)
{
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const ReplyGuard &guard = ReplyGuard::of(*reply);
    const QScopedPointer<QNetworkReply, QScopedPointerDeleteLater> owner(reply);
    if (reply->error() == QNetworkReply::SslHandshakeFailedError)
        connect(reply, &QObject::destroyed, this, &HttpCommunication::closeConnections,
                Qt::QueuedConnection);

    if (reply->error() == QNetworkReply::TimeoutError || guard.isExpired()) {
        qInfo() << "TimeoutError return"
                << LogEncryption::encryptionMessage(reply->url().fileName(QUrl::FullyDecoded));
        return;
    }

    const QVariantMap headers = headersOf(*reply);
    if (reply->error() != QNetworkReply::NoError)
        qWarning() << LogMessages::requestFailed << status << reply->error()
                   << reply->errorString();

    if (HealthProbe::isReply(reply->url())) {
        emit receiveHealth(headers, status);
        return;
    }

    const QByteArray body = guard.takeBody();
    qDebug() << "returnByte" << LogEncryption::encryptionMessage(body);
    emit receiveHttpsData(status, headers, body, reply->url().toString());
}
