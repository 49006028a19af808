#pragma once

#include <QLocalServer>

/// The listening socket with the peers that wait to be served. Limits the bytes kept for a peer.
/// Reports what QLocalServer hides: it announces no more peers, or has given up the socket.
class Listener : public QLocalServer
{
    Q_OBJECT
    Q_DISABLE_COPY(Listener)

public:
    explicit Listener(QObject *parent);

    /// Listens at the path. Replaces whatever socket file is there.
    /// Returns false when that fails; errorString() gives the reason.
    bool open(const QString &path);

    /// Whether so many peers wait that newConnection() is no longer emitted.
    bool isFull() const;

signals:
    /// Emitted once, when Qt has given up the socket because it could not accept a
    /// connection, for example without a free descriptor. Open a new listener then.
    void lost();

private:
    void limitPeerBuffers();
};
