#include "daemonclient.h"

#include "answer.h"
#include "paths.h"
#include "peerprocess.h"
#include "protocol.h"

#include <QLocalSocket>
#include <QThread>

#include <algorithm>

namespace {

constexpr std::chrono::milliseconds kRetryInterval{100};
constexpr std::chrono::milliseconds kKnockInterval{500};
constexpr int kMaxKnocks = 8; // each takes one of the daemon's 30 places for those who wait

/// The daemon takes a waiting connection only when a further one arrives: had
/// another program been served when we came, we would wait for ever after it left.
void knock()
{
    QLocalSocket visitor;
    visitor.connectToServer(Paths::socket);
    visitor.abort();
}

Reply failed(Reply::Outcome outcome, const QString &reason)
{
    return {outcome, reason, {}, {}, 0};
}

Reply unreachable(const QLocalSocket &socket)
{
    const auto because = [](const QString &reason) {
        return failed(Reply::Outcome::Unreachable, reason.arg(Paths::socket));
    };
    if (socket.state() == QLocalSocket::ConnectingState)
        return failed(Reply::Outcome::QueueFull,
                      QStringLiteral("the daemon serves one program at a time, "
                                     "and too many wait already"));
    switch (socket.error()) {
    case QLocalSocket::ServerNotFoundError:
        return because(QStringLiteral("no socket %1: the daemon does not run"));
    case QLocalSocket::ConnectionRefusedError:
        return because(QStringLiteral("socket %1 refused: a daemon that has died left it"));
    case QLocalSocket::SocketAccessError:
        return because(QStringLiteral("no permission to connect to the socket %1"));
    default:
        return because(QStringLiteral("cannot connect to the socket %1: ") + socket.errorString());
    }
}

/// True when nothing more is to be waited for.
bool takeOver(const Answer::Batch &batch, Reply &reply)
{
    for (const QJsonObject &message : batch.messages) {
        const int type = Protocol::numberIn(message.value(Protocol::typeName));
        if (type == Protocol::StatusMessage)
            reply.status = message;
        if (type == Protocol::Configuration) {
            reply.configuration = message;
            reply.outcome = Reply::Outcome::Answered;
            return true;
        }
    }
    if (batch.flaw.isEmpty())
        return false;
    reply.outcome = Reply::Outcome::Garbled;
    reply.reason =
        QStringLiteral("the daemon sent something that is no answer: %1").arg(batch.flaw);
    return true;
}

} // namespace

DaemonClient::DaemonClient(std::chrono::milliseconds timeout, bool isPatient)
    : m_timeout(timeout)
    , m_deadline(timeout)
    , m_isPatient(isPatient)
{
}

Reply DaemonClient::ask(const QByteArray &request) const
{
    for (;;) {
        Reply reply = attempt(request);
        if (!mayTryAgain(reply))
            return reply;
        QThread::msleep(static_cast<unsigned long>(remaining(kRetryInterval)));
        if (m_deadline.hasExpired())
            return reply;
    }
}

Reply DaemonClient::attempt(const QByteArray &request) const
{
    QLocalSocket socket;
    // No waitForConnected(): a local connect is done at once, and with a full
    // queue the toolkit would try again without a pause.
    socket.connectToServer(Paths::socket);
    if (socket.state() != QLocalSocket::ConnectedState) {
        Reply reply = unreachable(socket);
        socket.abort();
        return reply;
    }
    const qint64 process = PeerProcess::idOf(socket);
    socket.write(request);
    socket.flush();
    Reply reply = collect(socket);
    reply.process = process;
    return reply;
}

Reply DaemonClient::collect(QLocalSocket &socket) const
{
    Reply reply = failed(Reply::Outcome::Closed,
                         QStringLiteral("the daemon closed the connection before it answered"));
    QByteArray unread;
    const auto pause = std::max(kKnockInterval, m_timeout / kMaxKnocks);
    for (;;) {
        const bool isConnected = socket.state() == QLocalSocket::ConnectedState;
        unread += socket.readAll();
        const Answer::Batch batch = Answer::parse(unread);
        unread.remove(0, batch.end);
        if (takeOver(batch, reply) || !isConnected)
            return reply;
        if (m_deadline.hasExpired()) {
            const Reply late = expired(!unread.isEmpty());
            return {late.outcome, late.reason, reply.status, {}, 0};
        }
        if (!socket.waitForReadyRead(remaining(pause))
            && socket.state() == QLocalSocket::ConnectedState && !m_deadline.hasExpired())
            knock();
    }
}

Reply DaemonClient::expired(bool isHalf) const
{
    const QString reason =
        isHalf ? QStringLiteral("the daemon sent only a part of an answer within %1 ms")
               : QStringLiteral("no answer within %1 ms: the daemon serves one program at a time "
                                "and may be busy with another; try again, or a longer --timeout");
    return failed(Reply::Outcome::Silent, reason.arg(m_timeout.count()));
}

bool DaemonClient::mayTryAgain(const Reply &reply) const
{
    if (!reply.status.isEmpty())
        return false;
    if (reply.outcome == Reply::Outcome::QueueFull)
        return true;
    return m_isPatient
           && (reply.outcome == Reply::Outcome::Unreachable
               || reply.outcome == Reply::Outcome::Closed);
}

int DaemonClient::remaining(std::chrono::milliseconds limit) const
{
    return static_cast<int>(std::min<qint64>(limit.count(), m_deadline.remainingTime()));
}
