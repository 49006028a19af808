#include "tcpconnections.h"

#include <QDeadlineTimer>

#include <fcntl.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>

namespace {

constexpr int kMaxDescriptors = 1024; // the daemon has fewer than 100
constexpr quint64 kMaxBytes = 256 * 1024; // of a name server; read() limits other connections

} // namespace

// The directory's link count grows by one for each thread.
quint64 TcpConnections::threadCount()
{
    struct stat status = {};
    ::stat("/proc/self/task", &status);
    return status.st_nlink;
}

bool TcpConnections::end(std::chrono::milliseconds age)
{
    const qint64 now = QDeadlineTimer::current().deadline();
    QHash<quint64, qint64> found;
    for (int descriptor = 0; descriptor < kMaxDescriptors; ++descriptor) {
        tcp_info info = {};
        socklen_t infoBytes = sizeof info;
        quint64 id = 0;
        socklen_t idBytes = sizeof id;
        if (::getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &infoBytes) != 0
            || ::getsockopt(descriptor, SOL_SOCKET, SO_COOKIE, &id, &idBytes) != 0
            || (::fcntl(descriptor, F_GETFD) & FD_CLOEXEC) == 0) // inherited from the starter
            continue;
        found.insert(id, m_found.value(id, now));
        if (now - found.value(id) >= age.count() || info.tcpi_bytes_received > kMaxBytes)
            ::shutdown(descriptor, SHUT_RDWR);
    }
    m_found.swap(found);
    return !m_found.isEmpty() || threadCount() > m_threads;
}
