#include "connectionlimits.h"

#include <QByteArray>

#include <chrono>

#include <fcntl.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace {

constexpr std::chrono::seconds kMaxAge{60};
// On loopback a server sends 5 MiB in this time.
constexpr std::chrono::milliseconds kInterval{10};

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
    start();
}

bool ConnectionLimits::endExcessive()
{
    return shutDown(Which::Excessive);
}

void ConnectionLimits::endAll()
{
    stop();
    shutDown(Which::All);
}

void ConnectionLimits::run()
{
    while (!m_stop.tryAcquire(1, static_cast<int>(kInterval.count())))
        shutDown(Which::Excessive);
}

void ConnectionLimits::stop()
{
    m_stop.release();
    wait();
}

// Looks at all descriptors, because Qt does not reveal the connections of its replies.
bool ConnectionLimits::shutDown(Which which)
{
    if (!m_descriptors)
        return false;
    const QMutexLocker locker(&m_mutex);
    QHash<quint64, QDeadlineTimer> deadlines;
    bool areExcessive = false;
    ::rewinddir(m_descriptors.get());
    while (const dirent *entry = ::readdir(m_descriptors.get())) {
        const int descriptor = QByteArray(entry->d_name).toInt();
        tcp_info info = {};
        socklen_t infoBytes = sizeof info;
        quint64 id = 0;
        socklen_t idBytes = sizeof id;
        if (::getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &infoBytes) != 0
            || ::getsockopt(descriptor, SOL_SOCKET, SO_COOKIE, &id, &idBytes) != 0
            || (::fcntl(descriptor, F_GETFD) & FD_CLOEXEC) == 0) // inherited from the starter
            continue;
        const QDeadlineTimer deadline = m_deadlines.value(id, QDeadlineTimer(kMaxAge));
        const bool isExcessive = info.tcpi_bytes_received > kMaxBytes || deadline.hasExpired();
        if (isExcessive || which == Which::All)
            ::shutdown(descriptor, SHUT_RDWR);
        areExcessive |= isExcessive;
        deadlines.insert(id, deadline);
    }
    m_deadlines.swap(deadlines);
    return areExcessive;
}
