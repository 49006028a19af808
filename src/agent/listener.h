#pragma once

#include <QLocalServer>

/// The listening socket with the peers that wait to be served. Bounds what a
/// waiting peer can make us keep, and reports what QLocalServer does not: that
/// it announces no more peers, or that it has given up the socket.
class Listener : public QLocalServer
{
    Q_OBJECT
    Q_DISABLE_COPY(Listener)

public:
    /// Unread bytes kept for one peer; the kernel blocks the peer beyond that.
    /// Larger than the largest single write with the kernel's default buffer.
    static constexpr qint64 kMaxUnreadBytes = 256 * 1024;

    explicit Listener(QObject *parent);

    /// Listens at the path. Replaces whatever socket file is there.
    /// Returns false when that fails; errorString() gives the reason.
    bool open(const QString &path);

    /// Whether so many peers wait that newConnection() is not emitted any more.
    bool isFull() const;

signals:
    /// Emitted once, when Qt has given up the socket because a connection could
    /// not be accepted, for example without a free descriptor. The listener is of
    /// no use then.
    void lost();

private:
    void boundPeers();
};
