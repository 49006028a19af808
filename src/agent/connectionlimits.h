#pragma once

#include <QDeadlineTimer>
#include <QHash>
#include <QMutex>
#include <QSemaphore>
#include <QThread>

#include <memory>

#include <dirent.h>

/// Limits what a server can do to the daemon, whatever it sends: shuts down each TCP connection of
/// the process after 60 s or 32 KiB. Qt reads some replies without a limit, and others on a thread
/// that then serves no other request. Has a thread of its own, because Qt parses headers on the
/// main thread and reads on meanwhile.
class ConnectionLimits : public QThread
{
    Q_OBJECT
    Q_DISABLE_COPY(ConnectionLimits)

public:
    /// Received bytes, before decryption; an ordinary probe receives less than 10 KB. Qt's time for
    /// some headers grows with the square of this.
    static constexpr quint64 kMaxBytes = 32 * 1024;

    ConnectionLimits() = default;
    ~ConnectionLimits() override;

    /// Starts to enforce the limits, unless that runs already. A connection counts from the moment
    /// when it is found, and can exceed the limits for 10 ms.
    void enforce();

    /// Enforces the limits at once. Returns whether a connection exceeded them.
    bool endExcessive();

    /// Shuts down all connections and stops. Bytes that have already arrived can still be read.
    void endAll();

protected:
    void run() override;

private:
    enum class Which { Excessive, All };

    void stop();
    bool shutDown(Which which);

    // Open all the time: there may be no free descriptor. Not QDir, which calls stat() on each.
    const std::unique_ptr<DIR, int (*)(DIR *)> m_descriptors{::opendir("/proc/self/fd"),
                                                             ::closedir};
    QMutex m_mutex; // guards what follows and the position in the directory
    QSemaphore m_stop; // available when the thread is to end
    QHash<quint64, QDeadlineTimer> m_deadlines; // by the kernel's ID of the socket
};
