#pragma once

#include <QByteArray>
#include <QObject>
#include <QVariantMap>

class Listener;
class QJsonObject;
class QLocalSocket;

/// The local socket: listens for client programs, serves one at a time, and
/// turns their requests into signals. Frames and messages are those of frame.h
/// and protocol.h. It acts on no request itself.
class LocalServer : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(LocalServer)

public:
    /// Makes the run directory and listens; a failure gives a warning and
    /// leaves a server that nobody can reach.
    /// @param parent not taken: the creator owns the server
    explicit LocalServer(QObject *parent = nullptr);
    ~LocalServer() override;

    /// Listens; warns when it cannot.
    void initLocalServer();
    /// Drops the client, if any, with all that was not sent to it yet.
    void deleteClientSocket();
    /// Sends one message to the client; without one the message is dropped. A
    /// client that leaves more than 1 MiB of messages unread is dropped itself.
    void sendData(QJsonObject message);

signals:
    /// Once for each request to use the default server with this index; any
    /// number that a client wrote, 0 when it wrote none.
    void setServerUrl(int index);
    /// Once for each request for the configuration.
    void requestServerConfUrl();

public slots:
    void newConnection();
    void recvClientData();
    void printConnectStatus();
    /// The requests in one read, as Requests::parse() finds them.
    QVariantList parseRecvData(QByteArray recv_data);
    /// @param activeMessageType a Protocol::StatusCode
    void sendActiveMsg(const unsigned int &activeMessageType,
                       const QString &activeMessage = QString());
    /// @param serverConfUrl a map as ServerConf::toReply() makes it
    void sendServerConfUrl(const QVariantMap &serverConfUrl);
    void disconnectClient();

private:
    bool startListening();
    void handleLoss();
    void listenAgain();
    void serveClient();
    void handleClientError(int error);
    void sendText(const QByteArray &text);
    void dropSlowReader();
    void dispatch(const QJsonObject &message);

    Listener *m_server = nullptr; // child of this
    QLocalSocket *m_client = nullptr; // child of this, so that it outlives the listener
    QString m_socketPath;
    bool m_isLossTold = false;
    QVariantMap m_configuration; // the last one that was sent
    QByteArray m_configurationText; // its message
};
