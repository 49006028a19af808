// Defines functions that libraries call, with a limit. The dynamic linker finds these first.

#undef _FORTIFY_SOURCE // defines read() too

#include <QCoreApplication>
#include <QThread>
#include <QUrl>

#include <algorithm>
#include <cerrno>

#include <dlfcn.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

/// Qt reads a server's bytes with this, before decryption: without a limit, sometimes in a loop,
/// also after the reply. It gets the first bytes of a connection; then that seems closed.
Q_DECL_EXPORT ssize_t read(int descriptor, void *data, size_t size)
{
    constexpr size_t maxBytes = 24 * 1024; // an ordinary probe receives less than 10 KB
    constexpr size_t maxDropped = 1024 * 1024; // at once
    int unread = 0;
    tcp_info info = {};
    socklen_t infoBytes = sizeof info;
    if (::getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &infoBytes) != 0
        || ::ioctl(descriptor, FIONREAD, &unread) != 0)
        return ::syscall(SYS_read, descriptor, data, size);
    // What arrives between the calls counts as unread, so now and then more is read.
    const auto left = static_cast<qint64>(maxBytes - info.tcpi_bytes_received) + unread;
    if (left > 0)
        return ::syscall(SYS_read, descriptor, data,
                         std::min({size, static_cast<size_t>(left), maxBytes}));
    ::shutdown(descriptor, SHUT_RDWR);
    const ssize_t dropped = ::recv(descriptor, nullptr, maxDropped, MSG_TRUNC | MSG_DONTWAIT);
    errno = EAGAIN; // first drop all: Qt loses a reply if the end comes while data waits
    return dropped > 0 ? -1 : 0;
}

#if QT_VERSION >= QT_VERSION_CHECK(5, 15, 0)
/// To close the connections, Qt waits up to 5 s with this for its HTTP thread. A TLS handshake can
/// take longer; then closeIdleConnections() finds the thread among the application's children.
bool QThread::wait(QDeadlineTimer deadline)
{
    constexpr qint64 maxWait = 500; // ms
    static const auto original = reinterpret_cast<bool (*)(QThread *, QDeadlineTimer)>(
        ::dlsym(RTLD_NEXT, "_ZN7QThread4waitE14QDeadlineTimer"));
    if (original(this, QDeadlineTimer(std::min(deadline.remainingTime(), maxWait))))
        return true;
    setParent(QCoreApplication::instance());
    return false;
}
#endif

/// Qt's network library parses cookies and entity tags with this, and some short lists. The time
/// grows with the cube of a cookie's length: one reply took minutes.
QList<QByteArray> QByteArray::split(char separator) const
{
    static const auto original = reinterpret_cast<QList<QByteArray> (*)(const QByteArray *, char)>(
        ::dlsym(RTLD_NEXT, "_ZNK10QByteArray5splitEc"));
    constexpr int maxSize = 64;
    return size() > maxSize ? QByteArrayList() : original(this, separator);
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

/// Qt's network library keeps credentials for ever, even none, under the URL with the realm as its
/// fragment: 100 KB for a realm of 23 KB. Without fragments it keeps one for each URL.
void QUrl::setFragment(const QString & /*fragment*/, ParsingMode /*mode*/) {}

/// OpenSSL would compute a curve that a certificate describes: 0.3 s for 400 bytes. Now it fails.
extern "C" Q_DECL_EXPORT void *EC_GROUP_new_from_ecparameters(const void * /*parameters*/)
{
    return nullptr;
}

/// For revocation lists, which Qt does not use: one certificate of 23 KB took 618 MiB.
extern "C" Q_DECL_EXPORT int DIST_POINT_set_dpname(void * /*name*/, const void * /*issuer*/)
{
    return 1;
}
