#pragma once

#include <QHash>

#include <chrono>

/// Ends old TCP connections, which Qt does not reveal. Some outlive their request: Qt keeps one
/// whose TLS handshake stalls, and the resolver may wait for a name server for ever.
class TcpConnections
{
    Q_DISABLE_COPY(TcpConnections)

public:
    TcpConnections() = default;

    /// Shuts down each connection that was first found at least this long ago, or that received
    /// more than 256 KiB. Returns whether there is a connection, or more threads than at first: one
    /// may be looking up a name. Without /proc it ignores threads.
    bool end(std::chrono::milliseconds age);

private:
    static quint64 threadCount();

    const quint64 m_threads = threadCount(); // at first
    QHash<quint64, qint64> m_found; // when first found, in ms, by the socket's kernel ID
};
