#pragma once

#include <QObject>
#include <QScopedPointer>

class ServiceCore;
struct ServiceAgentPrivate;

/// Connects the local socket server to the core. Owns the server, not the core.
class ServiceAgent : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(ServiceAgent)

public:
    /// Listens for local clients.
    /// @param core not owned; must outlive the agent
    explicit ServiceAgent(ServiceCore *core, QObject *parent = nullptr);
    ~ServiceAgent() override;

    /// Starts the first health check. Call once.
    void startService();

public slots:
    /// Handles a client's choice of the default server with this index (any int).
    void ImportDefaultServerUrl(const int &index);

private:
    void initLocalServerConnect();
    void initHarborConnect();

    const QScopedPointer<ServiceAgentPrivate> d_ptr;
};
