#pragma once

#include <QObject>
#include <QScopedPointer>
#include <QTimer>
#include <QVariantMap>

struct ServiceCorePrivate;

/// The service's state: the OS version record, the server configuration with
/// its file, and the health check of the server in use.
class ServiceCore : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(ServiceCore)

public:
    /// Reads the version record and the configuration file. Sends nothing yet.
    ServiceCore();
    ~ServiceCore() override;

    /// Reads the OS version record; empty when there is none.
    void readOsVersionInfo();
    /// Derives the system type from the OS version record.
    void parseSystemType();

    /// Loads the configuration file and sets the server from it. When the file
    /// cannot be read, the configuration and the server's URL stay empty.
    void initServerUrlConf();
    /// The configuration as clients receive it: a map as ServerConf::toReply() makes it.
    QVariantMap getServerConfUrl() const;
    /// Uses the server that the map selects for all requests from now on.
    void getServerUrlConf(QVariantMap map);
    /// Uses the default server with this index: rewrites the file and checks the
    /// server's health. On failure emits statusMessageChange(), once.
    void setDefaultServerUrl(int index);

    /// Probes the server in use. Replies after 8 s are ignored.
    void startCheckServer();
    /// Sets whether the current check has timed out. If so, replies are ignored.
    void setTimeoutStatus(bool timedOut);

public slots:
    /// Records the outcome of a check.
    /// @param headerData ignored
    /// @param nStatus HTTP status; 0 when there was no HTTP response
    void parseNetWorkCheck(QVariantMap headerData, int nStatus);
    /// Records that no reply arrived in time.
    void checkNetworkTimeout();

signals:
    /// Emitted once for each choice of a server that fails.
    /// @param code a Protocol::StatusCode
    /// @param text always empty
    void statusMessageChange(unsigned int code, QString text = QString());

private:
    void refuse(const char *reason, unsigned int code);

    QTimer m_networkTimer;
    bool m_timeoutStatus = false;
    int m_networkStatus = 0; // of the last reply in time; only logged so far
    const QScopedPointer<ServiceCorePrivate> d_ptr;
};
