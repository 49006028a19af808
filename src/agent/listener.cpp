#include "listener.h"

#include <QLocalSocket>
#include <QSocketNotifier>

#include <sys/socket.h>

namespace {

// For one peer; the kernel blocks it beyond that. Larger than any write that fits its buffer.
constexpr qint64 kMaxUnreadBytes = 256 * 1024;
constexpr int kPassRights = 83; // SO_PASSRIGHTS of Linux 6.16

const QSocketNotifier *notifierOf(const QLocalServer &server)
{
    return server.findChild<QSocketNotifier *>(QString(), Qt::FindDirectChildrenOnly);
}

} // namespace

Listener::Listener(QObject *parent)
    : QLocalServer(parent)
{
    connect(this, &QLocalServer::newConnection, this, &Listener::limitPeerBuffers);
}

bool Listener::open(const QString &path)
{
    removeServer(path);
    if (!listen(path))
        return false;
    // Closing a passed socket that lingers would block, so make the kernel refuse descriptors.
    // Peers inherit the option from the listener. Older kernels lack it.
    const int off = 0;
    ::setsockopt(static_cast<int>(socketDescriptor()), SOL_SOCKET, kPassRights, &off, sizeof off);
    // When Qt cannot accept a connection, it gives up the socket without a signal,
    // and isListening() stays true. The only sign is that it deletes its notifier.
    if (const QSocketNotifier *notifier = notifierOf(*this))
        connect(notifier, &QObject::destroyed, this, &Listener::lost, Qt::QueuedConnection);
    return true;
}

// Qt disables its notifier while too many peers wait.
bool Listener::isFull() const
{
    const QSocketNotifier *notifier = notifierOf(*this);
    return notifier != nullptr && !notifier->isEnabled();
}

// Qt buffers data as soon as it has accepted a peer, so limit the buffer now.
void Listener::limitPeerBuffers()
{
    const auto peers = findChildren<QLocalSocket *>(QString(), Qt::FindDirectChildrenOnly);
    for (QLocalSocket *peer : peers)
        peer->setReadBufferSize(kMaxUnreadBytes);
}
