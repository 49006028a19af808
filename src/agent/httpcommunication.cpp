#include "httpcommunication.h"

#include "logencryption.h"
#include "replyguard.h"
#include "serverconf.h"
#include "sharedconstants.h"

#include <QDebug>
#include <QNetworkCookieJar>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QScopedPointer>
#include <QUrl>

#include <algorithm>

namespace {

constexpr int kMaxOutstanding = 4;
constexpr int kMaxFailedHandshakes = 100;

/// The toolkit would send a server's cookies back to it with the next request.
class NoCookies : public QNetworkCookieJar
{
public:
    using QNetworkCookieJar::QNetworkCookieJar;

    bool setCookiesFromUrl(const QList<QNetworkCookie> & /*cookies*/, const QUrl & /*url*/) override
    {
        return false;
    }
};

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
    m_manager.setCookieJar(new NoCookies(&m_manager));
    m_manager.setProxy(QNetworkProxy::NoProxy);
    connect(&m_manager, &QNetworkAccessManager::finished, this, &HttpCommunication::replyFinished);
}

HttpCommunication::~HttpCommunication() = default;

void HttpCommunication::sendPost(const QString &url, const QByteArray &data, QString token)
{
    QNetworkRequest request;
    allowUnknownNetwork();
    if (!token.isEmpty())
        request.setRawHeader("AuthToken", token.prepend(QLatin1String("Bearer ")).toLatin1());
    // The toolkit asks for compression and unpacks without a bound; who asks for none gets
    // what comes as it is.
    request.setRawHeader("Accept-Encoding", "identity");
    request.setUrl(QUrl(url, QUrl::TolerantMode));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    dropOldest();
    QNetworkReply *reply = m_manager.post(request, data);
    new ReplyGuard(reply, !ServerConf::isProbe(request.url())); // owned by the reply
    qDebug() << "http sendPost url:" << LogEncryption::encryptionMessage(url);
}

// Without a daemon that manages the network the toolkit may believe that there
// is none, and would fail every request.
void HttpCommunication::allowUnknownNetwork()
{
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    if (m_manager.networkAccessible() != QNetworkAccessManager::NotAccessible)
        return;
    qWarning() << "m_manager.networkAccessible() NotAccessible";
    m_manager.setNetworkAccessible(QNetworkAccessManager::Accessible);
    QT_WARNING_POP
}

QList<QNetworkReply *> HttpCommunication::outstanding() const
{
    auto replies = m_manager.findChildren<QNetworkReply *>();
    replies.erase(std::remove_if(replies.begin(), replies.end(),
                                 [](const QNetworkReply *reply) { return reply->isFinished(); }),
                  replies.end());
    return replies;
}

// A silent server must not make us collect replies. Nobody is told: what has
// been replaced is no answer to the request that replaced it.
void HttpCommunication::dropOldest()
{
    const QList<QNetworkReply *> replies = outstanding();
    if (replies.size() >= kMaxOutstanding)
        drop(replies.constFirst());
}

void HttpCommunication::drop(QNetworkReply *reply)
{
    reply->disconnect(&m_manager);
    delete reply; // now: there may be thousands before the loop comes to a deferred one
}

// The toolkit keeps some KiB of every failed TLS handshake as long as it has
// connections. To take them away would block while a reply is outstanding, so
// one that is slow gives us time for so many of them, and is dropped then.
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
    const ReplyGuard *guard = ReplyGuard::of(reply);
    const QScopedPointer<QNetworkReply, QScopedPointerDeleteLater> owner(reply);
    if (reply->error() == QNetworkReply::SslHandshakeFailedError)
        connect(reply, &QObject::destroyed, this, &HttpCommunication::closeConnections,
                Qt::QueuedConnection);

    if (reply->error() == QNetworkReply::TimeoutError || (guard != nullptr && guard->isExpired())) {
        qInfo() << "TimeoutError return"
                << LogEncryption::encryptionMessage(reply->url().fileName(QUrl::FullyDecoded));
        return;
    }

    const QVariantMap headers = headersOf(*reply);
    if (reply->error() != QNetworkReply::NoError)
        qWarning() << "Failed: " << status << reply->error() << reply->errorString();

    if (ServerConf::isProbe(reply->url())) {
        emit receiveHealth(headers, status);
        return;
    }

    const QByteArray body = guard != nullptr ? guard->takeBody() : reply->readAll();
    qDebug() << "returnByte" << LogEncryption::encryptionMessage(body);
    emit receiveHttpsData(status, headers, body, reply->url().toString());
}
