#pragma once

#include <QHash>

#include <chrono>
#include <memory>

#include <dirent.h>

/// Ends the TCP connections of the process, which Qt does not reveal. Some outlive their request:
/// Qt keeps one whose TLS handshake stalls, and the resolver may wait for a name server for ever.
class TcpConnections
{
    Q_DISABLE_COPY(TcpConnections)

public:
    TcpConnections();

    /// Shuts down each connection that was first found at least so long ago; with 0, all. What has
    /// arrived can still be read. Does nothing without /proc. Returns whether there was a
    /// connection, or there may be one: there are more threads than at first, perhaps the
    /// resolver's.
    bool end(std::chrono::milliseconds age);

private:
    // Open all the time: there may be no free descriptor. Not QDir, which calls stat() on each.
    const std::unique_ptr<DIR, int (*)(DIR *)> m_descriptors{::opendir("/proc/self/fd"),
                                                             ::closedir};
    const qint64 m_threads; // at first
    QHash<quint64, qint64> m_found; // when, in ms; by the kernel's ID of the socket
};
