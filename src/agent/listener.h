#pragma once

#include <QLocalServer>

/// The listening socket with the peers that wait on it to be served. Bounds
/// what a waiting peer can make us keep, and tells what the toolkit does not:
/// that it has stopped announcing peers, or has given the socket up.
class Listener : public QLocalServer
{
    Q_OBJECT
    Q_DISABLE_COPY(Listener)

public:
    /// Of one peer's bytes we keep at most this many unread; the kernel then
    /// slows the peer down. More than a peer's kernel takes in one write by default.
    static constexpr qint64 kMaxUnreadBytes = 256 * 1024;

    explicit Listener(QObject *parent);

    /// Listens at the path in place of whatever socket was left there.
    bool open(const QString &path);

    /// Whether so many peers wait that no further one is announced.
    bool isFull() const;

signals:
    /// Once, when the socket is no longer served: a connection could not be
    /// accepted, for want of descriptors say. Delete the listener then.
    void lost();

private:
    void boundPeers();
};
