// Replaces functions that Qt calls by ones with a limit. The dynamic linker finds the program's
// function before the one in a library.

#undef _FORTIFY_SOURCE // defines read() too

#include <QUrl>

#include <algorithm>
#include <cerrno>
#include <limits>

#include <dlfcn.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr qint64 kMaxBytes = 24 * 1024; // an ordinary probe receives less than 10 KB
constexpr size_t kMaxDropped = 1024 * 1024; // at once

/// How many bytes of a TCP connection may still be read; the largest number for other descriptors.
size_t bytesLeft(int descriptor)
{
    int unread = 0;
    tcp_info info = {};
    socklen_t infoBytes = sizeof info;
    if (::getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &infoBytes) != 0
        || ::ioctl(descriptor, FIONREAD, &unread) != 0)
        return std::numeric_limits<size_t>::max();
    // What arrives between the calls counts as unread, so a connection can seldom exceed the limit.
    const auto read = static_cast<qint64>(info.tcpi_bytes_received) - unread;
    return static_cast<size_t>(std::clamp<qint64>(kMaxBytes - read, 0, kMaxBytes));
}

} // namespace

/// Qt reads what servers send with this, before it is decrypted. It keeps some replies whatever
/// their size, reads others in a loop on the thread of all requests, and goes on after a reply. So
/// the first bytes of a connection are read and the rest is dropped, as if the server closed it.
Q_DECL_EXPORT ssize_t read(int descriptor, void *data, size_t size)
{
    const size_t left = bytesLeft(descriptor);
    if (left > 0)
        return ::syscall(SYS_read, descriptor, data, std::min(size, left));
    ::shutdown(descriptor, SHUT_RDWR);
    const ssize_t dropped = ::recv(descriptor, nullptr, kMaxDropped, MSG_TRUNC | MSG_DONTWAIT);
    errno = EAGAIN; // not the end yet: Qt loses a reply that ends while data waits
    return dropped > 0 ? -1 : 0;
}

/// Qt calls this with each host that it looks up, and with the name in a certificate. The time
/// grows with the square of the name's length. A longer name gives no host, and matches none.
QByteArray QUrl::toAce(const QString &domain)
{
    using Function = QByteArray (*)(const QString &);
    static const auto original =
        reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "_ZN4QUrl5toAceERK7QString"));
    constexpr int maxSize = 253; // as in DNS
    return original == nullptr || domain.size() > maxSize ? QByteArray() : original(domain);
}

/// Qt's network library parses cookies and entity tags with this, and some short lists. The time
/// grows with the cube of a cookie's length: one reply took minutes.
QList<QByteArray> QByteArray::split(char separator) const
{
    using Function = QList<QByteArray> (*)(const QByteArray *, char);
    static const auto original =
        reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "_ZNK10QByteArray5splitEc"));
    constexpr int maxSize = 64;
    return original == nullptr || size() > maxSize ? QByteArrayList() : original(this, separator);
}

/// Qt parses a "Location" with these two. The time grows with the square of the host's length.
QUrl::QUrl(const QString &url, ParsingMode mode)
    : d(nullptr)
{
    constexpr int maxSize = 2048;
    if (url.size() <= maxSize)
        setUrl(url, mode);
}

QUrl QUrl::fromEncoded(const QByteArray &url, ParsingMode mode)
{
    return {QString::fromUtf8(url), mode};
}
