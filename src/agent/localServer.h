#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QObject>
#include <QVariantMap>

class Listener;
class QLocalSocket;

/// The local socket server: listens for client programs, serves one at a time
/// and turns their requests into signals. It acts on no request itself. Frames
/// are those of frame.h, messages those of protocol.h.
class LocalServer : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(LocalServer)

public:
    /// Creates the run directory and listens. On failure logs a warning, and no client can connect.
    /// @param parent ignored: the creator owns the server
    explicit LocalServer(QObject *parent = nullptr);
    ~LocalServer() override;

    /// Listens; logs a warning on failure.
    void initLocalServer();
    /// Drops the client, if any, with the answers not yet sent to it.
    void deleteClientSocket();
    /// Sends one message to the client. Without a client the message is dropped.
    void sendData(QJsonObject message);

signals:
    /// Emitted once for each request to use a default server.
    /// @param index as the client wrote it; see Protocol::numberIn()
    void setServerUrl(int index);
    /// Emitted once for each request for the configuration.
    void requestServerConfUrl();

public slots:
    /// Takes the next waiting peer as the client, unless there is a client.
    void newConnection();
    /// Reads what the client that emitted readyRead() has sent, at most 256 KiB,
    /// and acts on it. Drops a client that leaves more than 1 MiB of answers unread.
    void recvClientData();
    /// Logs that there is a client.
    void printConnectStatus();
    /// Returns the requests in one read, as Requests::parse() finds them.
    QVariantList parseRecvData(QByteArray recv_data);
    /// Sends a status message.
    /// @param activeMessageType a Protocol::StatusCode
    void sendActiveMsg(const unsigned int &activeMessageType,
                       const QString &activeMessage = QString());
    /// Sends the configuration.
    /// @param serverConfUrl a map from ServerConf::toReply()
    void sendServerConfUrl(const QVariantMap &serverConfUrl);
    /// Logs that the client has left and drops it.
    void disconnectClient();

private:
    bool startListening();
    void handleLoss();
    void listenAgain();
    void serveClient();
    void handleClientError(int error);
    void sendText(const QByteArray &text);
    bool dropSlowReader();
    void dispatch(const QJsonObject &message);

    Listener *m_server = nullptr; // child of this
    QLocalSocket *m_client = nullptr; // child of this, so that it outlives the listener
    QString m_socketPath;
    bool m_isLossLogged = false;
    QVariantMap m_configuration; // as last sent
    QByteArray m_configurationText; // the message with it
};
