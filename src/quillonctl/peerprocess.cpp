#include "peerprocess.h"

#include <QDateTime>
#include <QFile>
#include <QLocalSocket>

#include <ctime>

#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kStartField = 19; // of those behind the name, from 0
constexpr qint64 kMilliseconds = 1000;
constexpr qint64 kNanosecondsOfOne = 1000000;

qint64 millisecondsSinceBoot()
{
    timespec now = {};
    ::clock_gettime(CLOCK_BOOTTIME, &now);
    return now.tv_sec * kMilliseconds + now.tv_nsec / kNanosecondsOfOne;
}

} // namespace

qint64 PeerProcess::idOf(const QLocalSocket &socket)
{
    ucred peer = {};
    socklen_t size = sizeof peer;
    const auto descriptor = static_cast<int>(socket.socketDescriptor());
    return ::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 ? peer.pid : 0;
}

QDateTime PeerProcess::startOf(qint64 id)
{
    QFile file(QStringLiteral("/proc/%1/stat").arg(id));
    if (id <= 0 || !file.open(QIODevice::ReadOnly))
        return {};
    // The name may hold blanks and brackets.
    const QByteArray line = file.readAll();
    const QByteArrayList fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    bool isNumber = false;
    const qint64 ticks = fields.value(kStartField).toLongLong(&isNumber);
    if (!isNumber)
        return {};
    const qint64 age = millisecondsSinceBoot() - ticks * kMilliseconds / ::sysconf(_SC_CLK_TCK);
    return QDateTime::currentDateTime().addMSecs(-age);
}
