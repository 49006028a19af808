#pragma once

#include <QDeadlineTimer>
#include <QHash>

/// Limits what a server can do to the daemon, whatever it sends: ends each TCP connection of the
/// process after 60 s or 1 MiB. Qt reads some replies without a limit, and others on a thread that
/// then serves no other request. Ending the connection stops both.
class ConnectionLimits
{
public:
    /// Received bytes, before decryption. An ordinary probe receives less than 10 KB.
    static constexpr quint64 kMaxBytes = 1024 * 1024;

    /// Shuts down each connection beyond a limit. Call often: a connection counts from the first
    /// call that finds it, and can exceed the limits until the next.
    void enforce();

    /// Shuts down all connections. Bytes that have already arrived can still be read.
    void endAll();

private:
    QHash<quint64, QDeadlineTimer> m_deadlines; // by the kernel's ID of the socket
};
