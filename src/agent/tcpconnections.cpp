#include "tcpconnections.h"

#include <QDeadlineTimer>
#include <QHash>
#include <QSemaphore>

#include <utility>

#include <dlfcn.h>
#include <fcntl.h>
#include <linux/tcp.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace {

constexpr int kMaxDescriptors = 256; // the daemon has fewer than 100 of its own
constexpr quint64 kMaxBytes = 256 * 1024; // of a name server; qtlimits.cpp limits others
constexpr int kMaxLookups = 5; // at once; an answer takes up to 2.3 MiB while it is parsed
constexpr int kMaxLookupWait = 8000; // ms, until one of the others ends
constexpr int kMaxAddresses = 3 * 32; // of a name: 32, and each for three types of sockets

QSemaphore lookups(kMaxLookups); // clazy:exclude=non-pod-global-static

} // namespace

/// Qt looks up names with this, on up to 20 threads, and keeps the addresses for a minute. A name
/// may have thousands. The dynamic linker finds this function before that of the C library.
extern "C" Q_DECL_EXPORT int getaddrinfo(const char *name, const char *service,
                                         const addrinfo *hints, addrinfo **addresses)
{
    static const auto original =
        reinterpret_cast<decltype(&::getaddrinfo)>(::dlsym(RTLD_NEXT, "getaddrinfo"));
    if (!lookups.tryAcquire(1, kMaxLookupWait))
        return EAI_AGAIN;
    const QSemaphoreReleaser releaser(lookups);
    const int error = original(name, service, hints, addresses);
    if (error != 0)
        return error;
    addrinfo *last = *addresses;
    for (int count = 1; count < kMaxAddresses && last->ai_next != nullptr; ++count)
        last = last->ai_next;
    ::freeaddrinfo(std::exchange(last->ai_next, nullptr));
    return 0;
}

bool TcpConnections::end(std::chrono::milliseconds age)
{
    static QHash<quint64, qint64> known; // when first found, in ms, by the socket's kernel ID
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
        found.insert(id, known.value(id, now));
        if (now - found.value(id) >= age.count() || info.tcpi_bytes_received > kMaxBytes)
            ::shutdown(descriptor, SHUT_RDWR);
    }
    known.swap(found);
    return !known.isEmpty() || lookups.available() < kMaxLookups;
}
