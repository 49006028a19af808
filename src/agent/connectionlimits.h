#pragma once

#include <QDeadlineTimer>
#include <QHash>
#include <QMutex>
#include <QThread>

#include <memory>

#include <dirent.h>

/// Limits what a server can do to the daemon, whatever it sends: shuts down each TCP connection of
/// the process after 60 s or 32 KiB. Qt reads some replies without a limit, and a long one blocks
/// the thread of all requests. Runs from start() to quit() on a thread of its own, because Qt
/// parses headers on the main thread and reads on meanwhile. A connection counts from the moment
/// when it is found, and can exceed the limits for 10 ms.
class ConnectionLimits : public QThread
{
    Q_OBJECT
    Q_DISABLE_COPY(ConnectionLimits)

public:
    /// Received bytes, before decryption; an ordinary probe receives less than 10 KB. Qt's time for
    /// some headers grows with the square of this.
    static constexpr qint64 kMaxBytes = 32 * 1024;

    ConnectionLimits() = default;
    ~ConnectionLimits() override;

    /// Shuts down each connection that is older than 60 s or has received more than these bytes; -1
    /// shuts down all. Returns whether it found one. What has arrived can still be read.
    bool shutDown(qint64 maxBytes = kMaxBytes);

private:
    void run() override;

    // Open all the time: there may be no free descriptor. Not QDir, which calls stat() on each.
    const std::unique_ptr<DIR, int (*)(DIR *)> m_descriptors{::opendir("/proc/self/fd"),
                                                             ::closedir};
    QMutex m_mutex; // guards what follows and the position in the directory
    QHash<quint64, QDeadlineTimer> m_deadlines; // by the kernel's ID of the socket
};
