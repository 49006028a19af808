#include "connectionlimits.h"

#include <QByteArray>
#include <QVector>

#include <chrono>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace {

constexpr std::chrono::seconds kMaxAge{60};
// On loopback a server sends 10 MiB in this time.
constexpr std::chrono::milliseconds kInterval{20};

struct Connection
{
    int descriptor;
    quint64 id; ///< of the socket; unlike a descriptor it is never used again
    quint64 receivedBytes;
};

/// Whether this process opened the socket. One that the daemon inherited lacks this flag.
bool isOwn(int descriptor)
{
    return (::fcntl(descriptor, F_GETFD) & FD_CLOEXEC) != 0;
}

/// Qt does not reveal the connections of its replies.
QVector<Connection> connections()
{
    QVector<Connection> found;
    // Not QDir, which calls stat() on each descriptor.
    const std::unique_ptr<DIR, int (*)(DIR *)> directory(::opendir("/proc/self/fd"), ::closedir);
    while (const dirent *entry = directory ? ::readdir(directory.get()) : nullptr) {
        const int descriptor = QByteArray(entry->d_name).toInt();
        tcp_info info = {};
        socklen_t infoBytes = sizeof info;
        quint64 id = 0;
        socklen_t idBytes = sizeof id;
        if (::getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &infoBytes) == 0
            && ::getsockopt(descriptor, SOL_SOCKET, SO_COOKIE, &id, &idBytes) == 0
            && isOwn(descriptor))
            found.append({descriptor, id, info.tcpi_bytes_received});
    }
    return found;
}

} // namespace

ConnectionLimits::~ConnectionLimits()
{
    stop();
}

void ConnectionLimits::enforce()
{
    if (isRunning())
        return;
    m_stop.acquire(m_stop.available()); // one is left if the last thread could not start
    m_deadlines.clear();
    start();
}

void ConnectionLimits::endAll()
{
    stop();
    const QVector<Connection> found = connections();
    for (const Connection &connection : found)
        ::shutdown(connection.descriptor, SHUT_RDWR);
}

void ConnectionLimits::run()
{
    while (!m_stop.tryAcquire(1, static_cast<int>(kInterval.count())))
        endExcessive();
}

void ConnectionLimits::stop()
{
    m_stop.release();
    wait();
}

void ConnectionLimits::endExcessive()
{
    QHash<quint64, QDeadlineTimer> deadlines;
    const QVector<Connection> found = connections();
    for (const Connection &connection : found) {
        const QDeadlineTimer deadline = m_deadlines.value(connection.id, QDeadlineTimer(kMaxAge));
        if (connection.receivedBytes > kMaxBytes || deadline.hasExpired())
            ::shutdown(connection.descriptor, SHUT_RDWR);
        deadlines.insert(connection.id, deadline);
    }
    m_deadlines.swap(deadlines);
}
