#include "daemonclient.h"

#include "frame.h"
#include "paths.h"
#include "protocol.h"

#include <QDeadlineTimer>
#include <QJsonDocument>
#include <QLocalSocket>
#include <QThread>

#include <algorithm>
#include <cerrno>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr qint64 kRetryMilliseconds = 100;
constexpr qint64 kKnockMilliseconds = 500;
constexpr int kMaxPayloadBytes = 16 * 1024 * 1024; // far above any message of the daemon
constexpr int kMaxKnocks = 8; // each takes one of the daemon's 30 places for waiting peers

/// Makes the daemon take our waiting connection. If it was serving another program when we
/// connected, it takes us only after that program has left and one more connection arrives.
void knock()
{
    QLocalSocket visitor;
    visitor.connectToServer(Paths::socket);
    visitor.abort();
}

qint64 processOf(const QLocalSocket &socket)
{
    ucred peer = {};
    socklen_t size = sizeof peer;
    const auto descriptor = static_cast<int>(socket.socketDescriptor());
    return ::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 ? peer.pid : 0;
}

QByteArray flawOf(const Frame::Slice &frame)
{
    if (frame.state == Frame::State::ForeignSender)
        return "it does not carry the daemon's sender ID";
    if (frame.state == Frame::State::BadLength)
        return "its length is negative";
    // Do not wait for the rest of a message that is too long.
    return frame.length > kMaxPayloadBytes ? "it is longer than 16 MiB" : "";
}

QByteArray requestOf(Protocol::MessageType type, QJsonObject members = {})
{
    members.insert(Protocol::typeName, QString::number(type));
    return Frame::pack(Frame::Client, QJsonDocument(members).toJson(QJsonDocument::Compact));
}

/// Returns what is wrong with the message; empty if nothing.
QByteArray takeMessage(const QByteArray &payload, Reply &reply)
{
    const QJsonDocument document = QJsonDocument::fromJson(payload);
    const QJsonObject message = document.object();
    const int type = Protocol::numberIn(message.value(Protocol::typeName));
    if (type == Protocol::StatusMessage)
        reply.refusal = message;
    if (type == Protocol::Configuration)
        reply.configuration = Configuration::fromMessage(message);
    if (!document.isObject())
        return "it is not a JSON object";
    const bool isFlawed = type == Protocol::Configuration && !reply.configuration;
    return isFlawed ? "members are missing or have the wrong type" : "";
}

/// Moves the complete messages to the reply. Returns true when it needs no more bytes.
bool take(QByteArray &bytes, Reply &reply)
{
    for (int position = 0;;) {
        const Frame::Slice frame = Frame::take(bytes, position, Frame::Daemon);
        QByteArray flaw = flawOf(frame);
        if (flaw.isEmpty() && frame.state == Frame::State::Complete)
            flaw = takeMessage(frame.payload, reply);
        if (!flaw.isEmpty())
            reply.verdict = {ExitStatus::Failed, "bad-answer",
                             "the daemon sent an invalid answer: " + flaw};
        if (!flaw.isEmpty() || reply.configuration)
            return true;
        if (frame.state == Frame::State::CutShort) {
            bytes.remove(0, position);
            return false;
        }
        position = frame.end;
    }
}

/// Reads answers into the reply until it is complete or the time is up.
void collect(QLocalSocket &socket, const QDeadlineTimer &deadline, Reply &reply)
{
    const qint64 pause = std::max(kKnockMilliseconds, deadline.remainingTime() / kMaxKnocks);
    QByteArray unread;
    for (;;) {
        // Check the state before the read, or the last bytes would be lost.
        const bool isConnected = socket.state() == QLocalSocket::ConnectedState;
        unread += socket.readAll();
        const bool isComplete = take(unread, reply);
        reply.mayRetry = !isComplete && reply.refusal.isEmpty();
        if (isComplete)
            return;
        if (!isConnected || deadline.hasExpired()) {
            reply.verdict = {ExitStatus::NoAnswer, "no-answer",
                             isConnected ? "no answer in time: the daemon serves one program at a "
                                           "time and may be busy; try again"
                                         : "the daemon closed the connection before it answered"};
            return;
        }
        const qint64 wait = std::min(pause, deadline.remainingTime());
        if (!socket.waitForReadyRead(int(wait)) && socket.state() == QLocalSocket::ConnectedState
            && !deadline.hasExpired())
            knock();
    }
}

Reply attempt(const QByteArray &request, const QDeadlineTimer &deadline)
{
    Reply reply;
    reply.verdict = DaemonClient::absence();
    if (!reply.verdict.isDone())
        return reply;

    QLocalSocket socket;
    // No waitForConnected(): a local connect succeeds or fails at once, and with a
    // full backlog Qt would retry without a pause.
    socket.connectToServer(Paths::socket);
    if (socket.state() == QLocalSocket::ConnectingState)
        reply.verdict = {ExitStatus::NoAnswer, "no-answer",
                         "the daemon serves one program at a time, and too many programs wait"};
    else if (socket.state() != QLocalSocket::ConnectedState)
        reply.verdict = {ExitStatus::NoDaemon, "no-daemon", "the daemon refused the connection"};
    if (!reply.verdict.isDone())
        return reply;

    reply.process = processOf(socket);
    socket.write(request);
    socket.flush();
    collect(socket, deadline, reply);
    return reply;
}

Reply send(const QByteArray &request, const QDeadlineTimer &deadline, bool isPatient)
{
    for (;;) {
        Reply reply = attempt(request, deadline);
        const bool isFull = reply.verdict.status == ExitStatus::NoAnswer && reply.process == 0;
        if (!reply.mayRetry || !(isPatient || isFull) || deadline.hasExpired())
            return reply;
        const qint64 pause = std::min(kRetryMilliseconds, deadline.remainingTime());
        QThread::msleep(static_cast<unsigned long>(pause));
    }
}

} // namespace

Reply DaemonClient::ask(const QDeadlineTimer &deadline, bool isPatient)
{
    return send(requestOf(Protocol::Configuration), deadline, isPatient);
}

Reply DaemonClient::choose(int index, const QDeadlineTimer &deadline, bool isPatient)
{
    const QByteArray choice =
        requestOf(Protocol::ChooseServer, {{Protocol::serverIndexName, QString::number(index)}});
    return send(choice + requestOf(Protocol::Configuration), deadline, isPatient);
}

// Connects a datagram socket. The daemon does not notice, and the error shows if it is there.
Verdict DaemonClient::absence()
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, Paths::socket.data(), sizeof address.sun_path);
    const int descriptor = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const auto *const generic = reinterpret_cast<const sockaddr *>(&address);
    const int error = ::connect(descriptor, generic, sizeof address) == 0 ? 0 : errno;
    ::close(descriptor);
    const QByteArray path = Paths::socket.data();
    if (error == EPROTOTYPE) // it is there, as a stream socket
        return {};
    if (error == EACCES)
        return {ExitStatus::NoDaemon, "no-permission",
                "no permission to connect to the socket " + path};
    return {ExitStatus::NoDaemon, "no-daemon",
            "no daemon listens on " + path + ": " + qt_error_string(error).toUtf8()};
}
