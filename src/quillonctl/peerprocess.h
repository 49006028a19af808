#pragma once

#include <QtGlobal>

class QDateTime;
class QLocalSocket;

/// The process behind a local socket.
namespace PeerProcess {

/// The process that listens there; 0 when the kernel does not tell.
qint64 idOf(const QLocalSocket &socket);

/// When the process started, by today's clock; invalid when that is not to be seen.
QDateTime startOf(qint64 id);

} // namespace PeerProcess
