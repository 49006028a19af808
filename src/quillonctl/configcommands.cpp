#include "commands.h"

#include "daemonclient.h"
#include "logevents.h"
#include "logfile.h"
#include "paths.h"
#include "protocol.h"

#include <QDeadlineTimer>
#include <QThread>

#include <cerrno>

#include <unistd.h>

namespace {

constexpr unsigned long kPollMilliseconds = 50;

Verdict refusal(const Reply &reply, bool isInUse)
{
    const int code = Protocol::numberIn(reply.refusal.value(Protocol::statusCodeName));
    const bool isMissing = ::access(Paths::configuration.data(), F_OK) != 0 && errno == ENOENT;
    QByteArray reason = reply.refusal.value(Protocol::statusTextName).toString().toUtf8();
    // The server is in use if only the write failed, or if it was in use before.
    if (code == Protocol::FileUnusable)
        reason = QByteArray("the choice ")
                 + (isInUse ? "is in use but was not saved" : "was not made") + ", because "
                 + Paths::configuration.data()
                 + (isMissing ? " is missing" : " cannot be opened or written");
    if (code == Protocol::IndexOutOfRange)
        reason = "no default server has this index; see 'quillonctl show'";
    return {ExitStatus::Failed, "refused",
            "the daemon refused with code " + QByteArray::number(code) + ": " + reason};
}

Verdict verdictOfChoice(const Reply &reply, int index)
{
    const bool isInUse = reply.configuration && reply.configuration->chosenIndex() == index;
    if (!reply.refusal.isEmpty())
        return refusal(reply, isInUse);
    Verdict verdict = reply.verdict;
    if (verdict.status == ExitStatus::NoAnswer)
        verdict.message += "; the choice may still take effect";
    if (!verdict.isDone() || isInUse)
        return verdict;
    return {ExitStatus::Failed, "not-taken",
            "the daemon reported no failure, but uses " + reply.configuration->serverText()};
}

/// Follows the log to the outcome of the probe that the choice has started. The daemon has logged
/// the choice by now, perhaps after those of other clients, so judge only at the end of the log.
Verdict awaitProbe(LogFile &log, int index, const QDeadlineTimer &deadline, LastProbe &probe)
{
    LogEvents events;
    bool isChosen = false; // the last choice, perhaps refused, names our server
    bool isOurs = false; // our server is in use
    bool isReadable = true;
    for (QByteArray bytes; !deadline.hasExpired() && (isReadable = log.follow(bytes));) {
        const QVector<LogEvent> found = events.add(bytes);
        for (const LogEvent &event : found) {
            probe.add(event);
            if (event.kind == LogEvent::Choice)
                isChosen = event.text == QByteArray::number(index);
            if (event.kind == LogEvent::Server)
                isOurs = isChosen;
        }
        if (bytes.isEmpty() && (!isOurs || probe.isOver()))
            break;
        if (bytes.isEmpty())
            QThread::msleep(kPollMilliseconds);
    }
    if (isOurs && isReadable)
        return probe.verdict(ExitStatus::ProbeFailed);
    const QByteArray unseen = " does not show it, or another program has chosen a server since";
    const QByteArray reason = isReadable ? Paths::logFile.data() + unseen
                                         : Output::unreadable(Paths::logFile, errno).message;
    probe = {};
    return {ExitStatus::ProbeUnknown, "probe-unknown",
            "the outcome of the probe is unknown: " + reason};
}

QJsonObject jsonOf(const Verdict &verdict, const Reply &reply)
{
    QJsonObject document = verdict.toJson();
    const QJsonValue code = reply.refusal.value(Protocol::statusCodeName);
    if (!reply.refusal.isEmpty())
        document.insert(QStringLiteral("code"), Protocol::numberIn(code));
    if (reply.configuration) {
        document.insert(QStringLiteral("configuration"), reply.configuration->toJson());
        document.insert(QStringLiteral("serverInUse"),
                        Output::orNull(reply.configuration->serverInUse().toUtf8()));
    }
    return document;
}

} // namespace

ExitStatus Commands::show(const Options &options)
{
    const Reply reply = DaemonClient::ask(QDeadlineTimer(options.timeout), options.wait);
    const QByteArray text = reply.verdict.isDone() ? reply.configuration->toText() : QByteArray();
    return Output::conclude(reply.verdict, options.json, jsonOf(reply.verdict, reply), text);
}

ExitStatus Commands::use(const Options &options)
{
    const QDeadlineTimer deadline(options.timeout);
    LogFile log(Paths::logFile);
    // Open the log before the choice: if it is unreadable, choose nothing.
    if (options.probe && !log.open() && errno != ENOENT)
        return Output::conclude(Output::unreadable(Paths::logFile, errno), options.json);
    log.skipToEnd();

    const Reply reply = DaemonClient::choose(options.serverIndex, deadline, options.wait);
    Verdict verdict = verdictOfChoice(reply, options.serverIndex);
    QByteArray text = verdict.isDone() ? reply.configuration->toText() : QByteArray();
    LastProbe probe;
    if (options.probe && verdict.isDone())
        verdict = awaitProbe(log, options.serverIndex, deadline, probe);
    if (probe.isOver())
        text += "Probe: " + probe.toText() + '\n';
    QJsonObject document = jsonOf(verdict, reply);
    if (options.probe)
        document.insert(QStringLiteral("probe"), probe.toJson());
    return Output::conclude(verdict, options.json, document, text);
}
