#include "httpcommunication.h"

#include "logencryption.h"
#include "logmessages.h"
#include "serverconf.h"
#include "sharedconstants.h"
#include "tcpconnections.h"

#include <QCoreApplication>
#include <QDebug>
#include <QNetworkConfiguration>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSslError>
#include <QThread>
#include <QUrl>

#include <chrono>

namespace {

constexpr int kMaxRequests = 4;
constexpr std::chrono::seconds kMaxAge{60}; // of a request, and of a connection
constexpr std::chrono::milliseconds kCheckInterval{1000};

void abortLater(QNetworkReply *reply)
{
    auto *timer = new QTimer(reply);
    timer->setTimerType(Qt::PreciseTimer); // to fire before the connection ends
    QObject::connect(timer, &QTimer::timeout, reply, &QNetworkReply::abort);
    timer->start(kMaxAge);
}

void logTlsErrors(const QNetworkReply * /*reply*/, const QList<QSslError> &errors)
{
    qInfo() << LogMessages::tlsFault << errors;
}

} // namespace

HttpCommunication::HttpCommunication(QObject *parent)
    : QObject(parent)
{
    connect(&m_manager, &QNetworkAccessManager::finished, this, &HttpCommunication::replyFinished);
    connect(&m_manager, &QNetworkAccessManager::sslErrors, this, &logTlsErrors);
    connect(&m_checkTimer, &QTimer::timeout, this, &HttpCommunication::checkConnections);
}

// Qt's network plugins poll and load D-Bus. enableNetwork() makes up for them.
void HttpCommunication::disablePlugins()
{
    QCoreApplication::setLibraryPaths({});
}

// Without a plugin, every request fails unless the manager's configuration is empty.
void HttpCommunication::enableNetwork()
{
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
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
    QUrl address;
    address.setUrl(url, QUrl::TolerantMode); // the constructor has a limit (qtlimits.cpp)
    request.setUrl(address);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    // By default Qt returns the server's cookies with the next request.
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    if (m_requests >= kMaxRequests) // more while they cannot be closed
        dropRequests();
    ++m_requests;
    QNetworkReply *reply = m_manager.post(request, data);
    connect(reply, &QObject::destroyed, this, &HttpCommunication::closeIdleConnections,
            Qt::QueuedConnection);
    abortLater(reply);
    if (!m_checkTimer.isActive()) // or frequent requests would put it off for ever
        m_checkTimer.start(kCheckInterval);
    qDebug() << "http sendPost url:" << LogEncryption::encryptionMessage(url);
}

// Outstanding requests keep the connections from being closed. Emits no signal for a dropped one,
// because a newer one replaces it. Not deleteLater(): thousands could pile up in one read.
void HttpCommunication::dropRequests()
{
    qDeleteAll(m_manager.findChildren<QNetworkReply *>());
    TcpConnections::end(kCheckInterval); // but not one that the next request may share
    closeIdleConnections();
}

// Qt does not end a connection with its reply: it reads on, and keeps a few KiB of each handshake.
// Closing can block while a reply exists, even an aborted one. First the last thread has to end.
void HttpCommunication::closeIdleConnections()
{
    const auto *last = QCoreApplication::instance()->findChild<QThread *>();
    if (m_manager.findChild<QNetworkReply *>() != nullptr || (last != nullptr && last->isRunning()))
        return;
    delete last; // Qt can miss that it has ended
    m_requests = 0;
    m_manager.clearConnectionCache();
}

// The resolver may open a connection long after the last reply, so look until the lookup has ended.
void HttpCommunication::checkConnections()
{
    closeIdleConnections(); // a busy thread may have prevented it
    if (!TcpConnections::end(kMaxAge) && m_requests == 0)
        m_checkTimer.stop();
}

void HttpCommunication::replyFinished(QNetworkReply *reply)
{
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    reply->deleteLater();
    const bool isAborted = reply->error() == QNetworkReply::OperationCanceledError;
    if (reply->error() == QNetworkReply::TimeoutError || isAborted) {
        qInfo() << "TimeoutError return"
                << LogEncryption::encryptionMessage(reply->url().fileName(QUrl::FullyDecoded));
        return;
    }

    QVariantMap headers;
    for (const auto &[name, value] : reply->rawHeaderPairs())
        headers.insert(QString::fromLatin1(name), value);
    if (reply->error() != QNetworkReply::NoError)
        qWarning() << LogMessages::requestFailed << status << reply->error()
                   << reply->errorString();

    reply->setParent(nullptr); // so that a receiver of the signal can send and drop requests
    if (ServerConf::isProbe(reply->url())) {
        emit receiveHealth(headers, status);
    } else {
        const QByteArray body = reply->readAll();
        qDebug() << "returnByte" << LogEncryption::encryptionMessage(body);
        emit receiveHttpsData(status, headers, body, reply->url().toString());
    }
    reply->setParent(&m_manager);
}
