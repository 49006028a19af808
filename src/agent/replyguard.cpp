#include "replyguard.h"

#include <QDebug>
#include <QDir>
#include <QHostInfo>
#include <QNetworkReply>
#include <QTimer>

#include <chrono>
#include <cstddef>

#include <netinet/in.h>
#include <sys/socket.h>

namespace {

constexpr std::chrono::seconds kMaxAge{60};
constexpr int kHttpPort = 80;
constexpr int kHttpsPort = 443;

bool isConnectedTo(int descriptor, const QList<QHostAddress> &addresses, int port)
{
    sockaddr_storage peer = {};
    socklen_t size = sizeof peer;
    auto *const generic = reinterpret_cast<sockaddr *>(&peer);
    if (::getpeername(descriptor, generic, &size) != 0)
        return false;
    // IPv4 and IPv6 addresses have the port at the same offset.
    static_assert(offsetof(sockaddr_in, sin_port) == offsetof(sockaddr_in6, sin6_port));
    if (ntohs(reinterpret_cast<const sockaddr_in &>(peer).sin_port) != port)
        return false;
    return addresses.contains(QHostAddress(generic)); // null unless IPv4 or IPv6
}

} // namespace

ReplyGuard::ReplyGuard(QNetworkReply *reply, bool wantsBody)
    : QObject(reply)
    , m_reply(reply)
    , m_wantsBody(wantsBody)
{
    // Queued, so that no lookup starts for a reply that the next choice drops at once.
    QMetaObject::invokeMethod(this, &ReplyGuard::findPeers, Qt::QueuedConnection);
    reply->setReadBufferSize(kMaxBodyBytes + 1);
    connect(reply, &QNetworkReply::readyRead, this, &ReplyGuard::read);
    // Not QTimer::singleShot(): its timer would outlive the guard.
    auto *age = new QTimer(this);
    connect(age, &QTimer::timeout, this, &ReplyGuard::expire);
    age->setSingleShot(true);
    age->start(kMaxAge);
}

// Qt keeps the ID of an aborted lookup until the lookup finishes. The ID of a finished lookup would
// stay for ever, so setPeers() resets it.
ReplyGuard::~ReplyGuard()
{
    if (m_lookup >= 0)
        QHostInfo::abortHostLookup(m_lookup);
}

// Qt does not reveal the address that it connects to. This lookup costs no second query, because
// Qt's own lookup shares the result. With a PMF instead of SLOT() it would leak when aborted.
void ReplyGuard::findPeers()
{
    const QString host = m_reply->url().host();
    QHostAddress address;
    if (address.setAddress(host)) // lookupHost() would do a reverse lookup
        m_peers = {address};
    else if (!host.isEmpty())
        m_lookup = QHostInfo::lookupHost(host, this, SLOT(setPeers(QHostInfo)));
}

void ReplyGuard::setPeers(const QHostInfo &found)
{
    m_lookup = -1;
    m_peers = found.addresses();
}

const ReplyGuard &ReplyGuard::of(const QNetworkReply &reply)
{
    return *reply.findChild<ReplyGuard *>(QString(), Qt::FindDirectChildrenOnly);
}

QByteArray ReplyGuard::takeBody() const
{
    return m_keptBody.isEmpty() ? m_reply->readAll() : m_keptBody;
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
    m_keptBody = m_reply->read(kMaxBodyBytes);
    m_reply->abort();
}

void ReplyGuard::expire()
{
    m_isExpired = true;
    shutDownConnections();
    m_reply->abort();
}

// While a server sends endless interim responses, Qt's network thread handles
// neither abort() nor the next request. Qt does not reveal the connection of a
// reply, so this shuts down all connections to its server.
void ReplyGuard::shutDownConnections() const
{
    const QUrl url = m_reply->url();
    const int port = url.port(url.scheme() == QLatin1String("http") ? kHttpPort : kHttpsPort);
    const QStringList descriptors =
        QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::Files | QDir::System);
    for (const QString &descriptor : descriptors) {
        if (isConnectedTo(descriptor.toInt(), m_peers, port))
            ::shutdown(descriptor.toInt(), SHUT_RDWR);
    }
}
