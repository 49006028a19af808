#include "localServer.h"

#include "frame.h"
#include "listener.h"
#include "logencryption.h"
#include "logmessages.h"
#include "paths.h"
#include "protocol.h"
#include "requests.h"
#include "sharedconstants.h"

#include <QDebug>
#include <QDir>
#include <QJsonDocument>
#include <QLocalSocket>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <utility>

#include <sys/stat.h>

namespace {

constexpr qint64 kMaxUnsentBytes = 1024 * 1024;
constexpr std::chrono::milliseconds kListenInterval{1000};

} // namespace

LocalServer::LocalServer(QObject * /*parent*/)
    : QObject(nullptr)
    , m_socketPath(Paths::socket)
{
    // Every user must reach the socket, whatever the umask.
    if (!QDir(Paths::runDirectory).exists() && QDir().mkpath(Paths::runDirectory))
        ::chmod(Paths::runDirectory.data(), 0755);
    initLocalServer();
}

LocalServer::~LocalServer()
{
    qDebug() << "*******~LocalServer [START]*********";
    m_server->close();
    std::exchange(m_server, nullptr)->deleteLater();
    deleteClientSocket();
}

void LocalServer::initLocalServer()
{
    if (!startListening())
        qWarning() << LogMessages::listenFailed;
}

bool LocalServer::startListening()
{
    m_server = new Listener(this);
    m_server->setSocketOptions(QLocalServer::WorldAccessOption);
    connect(m_server, &Listener::newConnection, this, &LocalServer::newConnection);
    connect(m_server, &Listener::lost, this, &LocalServer::handleLoss);
    return m_server->open(m_socketPath);
}

void LocalServer::handleLoss()
{
    // Warn once per shortage. It lasts until a client connects: without a free descriptor the
    // daemon can listen again, but loses the socket at the next connection.
    if (!std::exchange(m_isLossLogged, true))
        qWarning() << LogMessages::socketLost << m_server->errorString();
    QTimer::singleShot(kListenInterval, this, &LocalServer::listenAgain);
}

void LocalServer::listenAgain()
{
    delete m_server; // not deleteLater(): it would remove the new socket file
    if (!startListening())
        QTimer::singleShot(kListenInterval, this, &LocalServer::listenAgain);
}

void LocalServer::newConnection()
{
    m_isLossLogged = false;
    // serveClient() drops a peer that left while it waited; then take the next one.
    while (m_client == nullptr) {
        m_client = m_server->nextPendingConnection();
        if (m_client == nullptr)
            return;
        m_client->setParent(this);
        serveClient();
    }
}

void LocalServer::serveClient()
{
    connect(m_client, &QLocalSocket::readyRead, this, &LocalServer::recvClientData);
    connect(m_client, &QLocalSocket::disconnected, this, &LocalServer::disconnectClient);
#if QT_VERSION >= QT_VERSION_CHECK(5, 15, 0)
    connect(m_client, &QLocalSocket::errorOccurred, this, &LocalServer::handleClientError);
#else
    connect(m_client, QOverload<QLocalSocket::LocalSocketError>::of(&QLocalSocket::error), this,
            &LocalServer::handleClientError);
#endif
    printConnectStatus();

    // Qt has announced data that waits, and will not again. sender() has to be the socket.
    if (m_client->bytesAvailable() > 0)
        emit m_client->readyRead();
    if (m_client != nullptr && m_client->state() == QLocalSocket::UnconnectedState)
        disconnectClient();
}

void LocalServer::printConnectStatus()
{
    if (m_client != nullptr)
        qDebug() << LogMessages::clientCame << m_client->serverName();
}

void LocalServer::handleClientError(int error)
{
    const auto code = static_cast<QLocalSocket::LocalSocketError>(error);
    qWarning() << LogMessages::clientError << code;
    if (code != QLocalSocket::PeerClosedError)
        deleteClientSocket();
}

void LocalServer::disconnectClient()
{
    qDebug() << LogMessages::clientLeft;
    deleteClientSocket();
}

void LocalServer::deleteClientSocket()
{
    if (m_client == nullptr)
        return;
    QLocalSocket *client = std::exchange(m_client, nullptr);
    client->disconnect(this); // or abort() would call disconnectClient()
    client->abort();
    client->close();
    client->deleteLater();

    // Qt emits no newConnection() while too many peers wait.
    if (m_server != nullptr && m_server->isFull())
        QMetaObject::invokeMethod(this, &LocalServer::newConnection, Qt::QueuedConnection);
}

void LocalServer::recvClientData()
{
    auto *client = qobject_cast<QLocalSocket *>(sender());
    if (client == nullptr)
        return;

    // Not readAll(), which allocates and copies 16 KiB for the shortest request.
    const QByteArray received = client->read(client->bytesAvailable());
    qInfo("%s \"%s\"", LogMessages::received,
          LogEncryption::encryptionMessage(received).constData());
    const QVariantList messages = parseRecvData(received);
    for (const QVariant &message : messages) {
        dispatch(message.toJsonObject());
        if (dropSlowReader())
            return;
    }
}

QVariantList LocalServer::parseRecvData(QByteArray recv_data)
{
    return Requests::parse(recv_data);
}

void LocalServer::dispatch(const QJsonObject &message)
{
    switch (Protocol::numberIn(message.value(Protocol::typeName))) {
    case Protocol::ChooseServer:
        emit setServerUrl(Protocol::numberIn(message.value(Protocol::serverIndexName)));
        break;
    case Protocol::Configuration:
        emit requestServerConfUrl();
        break;
    }
}

void LocalServer::sendActiveMsg(const unsigned int &activeMessageType, const QString &activeMessage)
{
    sendData({{Protocol::typeName, QString::number(Protocol::StatusMessage)},
              {Protocol::statusCodeName, QString::number(activeMessageType)},
              {Protocol::statusTextName, activeMessage}});
}

void LocalServer::sendServerConfUrl(const QVariantMap &serverConfUrl)
{
    // Formatting the JSON takes longer than the rest of the answer, so cache the text. The types
    // matter, because a QVariant of 0 equals one of false.
    const auto haveSameType = [](const QVariant &left, const QVariant &right) {
        return left.userType() == right.userType();
    };
    if (m_configurationText.isEmpty() || serverConfUrl != m_configuration
        || !std::equal(serverConfUrl.cbegin(), serverConfUrl.cend(), m_configuration.cbegin(),
                       haveSameType)) {
        QJsonObject message = QJsonObject::fromVariantMap(serverConfUrl);
        message.insert(Protocol::typeName, QString::number(Protocol::Configuration));
        m_configuration = serverConfUrl;
        m_configurationText = QJsonDocument(message).toJson(QJsonDocument::Compact);
    }
    sendText(m_configurationText);
}

void LocalServer::sendData(QJsonObject message)
{
    sendText(QJsonDocument(message).toJson(QJsonDocument::Compact));
}

void LocalServer::sendText(const QByteArray &text)
{
    qDebug("send data : \"%s\"", LogEncryption::encryptionMessage(text).constData());

    const QByteArray frame = Frame::pack(Frame::Daemon, text);
    if (m_client == nullptr || !m_client->isValid()
        || m_client->state() != QLocalSocket::ConnectedState)
        return;
    for (qint64 accepted = 0; accepted < frame.size();) {
        const qint64 more = m_client->write(frame.constData() + accepted, frame.size() - accepted);
        if (more <= 0)
            return;
        accepted += more;
    }
    m_client->flush(); // drops the client on an error
}

bool LocalServer::dropSlowReader()
{
    if (m_client == nullptr || m_client->bytesToWrite() <= kMaxUnsentBytes)
        return false;
    qWarning() << LogMessages::clientDropped;
    deleteClientSocket();
    return true;
}
