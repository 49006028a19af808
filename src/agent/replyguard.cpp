#include "replyguard.h"

#include <QDebug>
#include <QDir>
#include <QNetworkReply>
#include <QTimer>

#include <chrono>

#include <sys/socket.h>

namespace {

constexpr std::chrono::seconds kMaxAge{60};

bool isConnectionToServer(int descriptor)
{
    sockaddr_storage peer = {};
    socklen_t peerSize = sizeof peer;
    int type = 0;
    socklen_t typeSize = sizeof type;
    return ::getpeername(descriptor, reinterpret_cast<sockaddr *>(&peer), &peerSize) == 0
           && peer.ss_family != AF_UNIX
           && ::getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &typeSize) == 0
           && type == SOCK_STREAM;
}

/// The toolkit's thread does not hear abort() while a server keeps it reading
/// what is no reply yet; it would not hear of the next probe either. Which
/// connection that is it does not tell: one more probe may go with it.
void cutConnections()
{
    const QStringList descriptors =
        QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::Files | QDir::System);
    for (const QString &name : descriptors) {
        if (isConnectionToServer(name.toInt()))
            ::shutdown(name.toInt(), SHUT_RDWR);
    }
}

} // namespace

ReplyGuard::ReplyGuard(QNetworkReply *reply, bool wantsBody)
    : QObject(reply)
    , m_reply(reply)
    , m_wantsBody(wantsBody)
{
    reply->setReadBufferSize(kMaxBodyBytes + 1);
    connect(reply, &QNetworkReply::readyRead, this, &ReplyGuard::read);
    // Not QTimer::singleShot(): its timer would outlive the guard until the time is up.
    auto *age = new QTimer(this);
    connect(age, &QTimer::timeout, this, &ReplyGuard::expire);
    age->setSingleShot(true);
    age->start(kMaxAge);
}

const ReplyGuard *ReplyGuard::of(const QNetworkReply *reply)
{
    return reply->findChild<ReplyGuard *>(QString(), Qt::FindDirectChildrenOnly);
}

QByteArray ReplyGuard::takeBody() const
{
    return m_kept.isEmpty() ? m_reply->readAll() : m_kept;
}

void ReplyGuard::read()
{
    if (!m_wantsBody) {
        m_reply->skip(m_reply->bytesAvailable());
        return;
    }
    if (m_reply->bytesAvailable() <= kMaxBodyBytes)
        return;
    qWarning() << "reply body of more than 1 MiB, the rest of it is dropped";
    m_kept = m_reply->read(kMaxBodyBytes);
    m_reply->abort();
}

void ReplyGuard::expire()
{
    m_isExpired = true;
    cutConnections();
    m_reply->abort();
}
