#include "httpcommunication.h"

#include "logencryption.h"
#include "sharedconstants.h"

#include <QDebug>
#include <QNetworkCookieJar>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QScopedPointer>
#include <QUrl>

namespace {

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
    request.setUrl(QUrl(url, QUrl::TolerantMode));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    m_manager.post(request, data);
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

void HttpCommunication::replyFinished(QNetworkReply *reply)
{
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const QString fileName = reply->url().fileName(QUrl::FullyDecoded);
    const QScopedPointer<QNetworkReply, QScopedPointerDeleteLater> owner(reply);

    if (reply->error() == QNetworkReply::TimeoutError) {
        qInfo() << "TimeoutError return" << LogEncryption::encryptionMessage(fileName);
        return;
    }

    const QVariantMap headers = headersOf(*reply);
    if (reply->error() != QNetworkReply::NoError)
        qWarning() << "Failed: " << status << reply->error() << reply->errorString();

    if (fileName == QLatin1String("health")) {
        emit receiveHealth(headers, status);
        return;
    }

    const QByteArray body = reply->readAll();
    qDebug() << "returnByte" << LogEncryption::encryptionMessage(body);
    emit receiveHttpsData(status, headers, body, reply->url().toString());
}
