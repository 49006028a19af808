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
    /// Reads the version record and the configuration file; sends nothing yet.
    ServiceCore();
    ~ServiceCore() override;

    /// Reads the OS version record; empty where there is none.
    void readOsVersionInfo();
    /// Derives the system type from the OS version record.
    void parseSystemType();

    /// Loads the configuration file and takes the server from it. A file that
    /// cannot be read leaves the configuration and the server's URL empty.
    void initServerUrlConf();
    /// What clients are told of the configuration: the keys of ServerConf::toReply().
    QVariantMap getServerConfUrl() const;
    /// Makes requests go to the server that the configuration names.
    void getServerUrlConf(QVariantMap map);
    /// Uses the default server with this index: rewrites the file and checks
    /// the server's health. Emits statusMessageChange() when that fails.
    void setDefaultServerUrl(int index);

    /// Probes the server in use; the answer counts for 8 s.
    void startCheckServer();
    void setTimeoutStatus(bool timedOut);

public slots:
    /// Records the HTTP status of a health reply; 0 when there was no response.
    void parseNetWorkCheck(QVariantMap headerData, int nStatus);
    void checkNetworkTimeout();

signals:
    /// Once for each choice of a server that failed.
    /// @param code a Protocol::StatusCode
    void statusMessageChange(unsigned int code, QString text = QString());

private:
    QTimer m_networkTimer;
    bool m_timeoutStatus = false;
    int m_networkStatus = 0; // of the last health reply that came in time
    const QScopedPointer<ServiceCorePrivate> d_ptr;
};
