#pragma once

#include <QHash>

#include <chrono>

/// Ends the TCP connections of the process, which Qt does not reveal. Some outlive their request:
/// Qt keeps one whose TLS handshake stalls, and the resolver may wait for a name server for ever.
class TcpConnections
{
    Q_DISABLE_COPY(TcpConnections)

public:
    TcpConnections();

    /// Shuts down each connection that was first found at least so long ago, or received more than
    /// 256 KiB. Returns whether there was a connection, or there may be one: there are more threads
    /// than at first, perhaps the resolver's. Without /proc it ignores the threads.
    bool end(std::chrono::milliseconds age);

private:
    const quint64 m_threads; // at first
    QHash<quint64, qint64> m_found; // when, in ms; by the kernel's ID of the socket
};
