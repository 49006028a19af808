#include "tcpconnections.h"

#include <QByteArray>
#include <QDeadlineTimer>

#include <filesystem>
#include <iterator>
#include <system_error>

#include <fcntl.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace {

qint64 threadCount()
{
    std::error_code error;
    const std::filesystem::directory_iterator threads("/proc/self/task", error);
    return std::distance(threads, {});
}

} // namespace

TcpConnections::TcpConnections()
    : m_threads(threadCount())
{
}

bool TcpConnections::end(std::chrono::milliseconds age)
{
    if (!m_descriptors)
        return false;
    const qint64 now = QDeadlineTimer::current().deadline();
    QHash<quint64, qint64> found;
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
        found.insert(id, m_found.value(id, now));
        if (now - found.value(id) >= age.count())
            ::shutdown(descriptor, SHUT_RDWR);
    }
    m_found.swap(found);
    return !m_found.isEmpty() || threadCount() > m_threads;
}
