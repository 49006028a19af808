#pragma once

#include <chrono>

/// The process's TCP connections, which Qt does not reveal, and name lookups. Some outlive their
/// request: Qt keeps stalled TLS handshakes, and the resolver may wait for a name server for ever.
namespace TcpConnections {

/// Shuts down each connection that it first found at least this long ago, or that received more
/// than 256 KiB. Returns whether there is a connection or a name lookup. Call it on one thread.
bool end(std::chrono::milliseconds age);

} // namespace TcpConnections
