#include "connectionlimits.h"

#include <QByteArray>
#include <QTimer>

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
    quit();
    wait();
}

void ConnectionLimits::run()
{
    QTimer timer;
    connect(&timer, &QTimer::timeout, &timer, [this] { shutDown(); });
    timer.start(kInterval);
    exec();
}

// Looks at all descriptors, because Qt does not reveal the connections of its replies.
bool ConnectionLimits::shutDown(qint64 maxBytes)
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
        deadlines.insert(id, deadline);
        if (static_cast<qint64>(info.tcpi_bytes_received) <= maxBytes && !deadline.hasExpired())
            continue;
        ::shutdown(descriptor, SHUT_RDWR);
        areExcessive = true;
    }
    m_deadlines.swap(deadlines);
    return areExcessive;
}
