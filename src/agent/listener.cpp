#include "listener.h"

#include <QLocalSocket>
#include <QSocketNotifier>

namespace {

const QSocketNotifier *notifierOf(const QLocalServer &server)
{
    return server.findChild<QSocketNotifier *>(QString(), Qt::FindDirectChildrenOnly);
}

} // namespace

Listener::Listener(QObject *parent)
    : QLocalServer(parent)
{
    connect(this, &QLocalServer::newConnection, this, &Listener::boundPeers);
}

bool Listener::open(const QString &path)
{
    removeServer(path);
    if (!listen(path))
        return false;
    // When the toolkit cannot accept a connection it removes the socket without
    // a signal and still says that it listens; only its notifier tells.
    if (const QSocketNotifier *notifier = notifierOf(*this))
        connect(notifier, &QObject::destroyed, this, &Listener::lost, Qt::QueuedConnection);
    return true;
}

// The toolkit switches its notifier off when too many wait, and on again only
// when enough of them were taken.
bool Listener::isFull() const
{
    const QSocketNotifier *notifier = notifierOf(*this);
    return notifier != nullptr && !notifier->isEnabled();
}

// The toolkit reads from a peer as soon as it has accepted it.
void Listener::boundPeers()
{
    const auto peers = findChildren<QLocalSocket *>(QString(), Qt::FindDirectChildrenOnly);
    for (QLocalSocket *peer : peers)
        peer->setReadBufferSize(kMaxUnreadBytes);
}
