#include "commands.h"

#include "conffile.h"
#include "daemonclient.h"
#include "logevents.h"
#include "logfile.h"
#include "paths.h"
#include "protocol.h"

#include <QDeadlineTimer>
#include <QThread>

#include <cerrno>

namespace {

constexpr unsigned long kPollMilliseconds = 50;

Verdict refusal(const Reply &reply, bool isInUse)
{
    const int code = Protocol::numberIn(reply.refusal.value(Protocol::statusCodeName));
    QByteArray reason = reply.refusal.value(Protocol::statusTextName).toString().toUtf8();
    const bool isMissing = !ConfFile(Paths::configuration).exists();
    // The server is in use if only the write failed, or if it was in use before.
    if (code == Protocol::FileUnusable)
        reason =
            QByteArray(isInUse ? "the server is in use, but the choice was not saved"
                               : "the choice was not made")
            + ", because " + Paths::configuration.data()
            + (isMissing ? " is missing" : " cannot be replaced; see DIAGNOSTICS in 'man quillon'");
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

/// Follows the log until the probe of our choice has ended. Other programs may choose too, and the
/// last choice counts, so this judges only at the end of the log.
Verdict awaitProbe(LogFile &log, int index, const QDeadlineTimer &deadline, LastProbe &probe)
{
    LogEvents events;
    bool isChosen = false; // the last choice, perhaps refused, names our server
    bool isOurs = false; // our server is in use
    for (QByteArray bytes; !deadline.hasExpired() && log.follow(bytes);) {
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
    if (isOurs)
        return probe.verdict(ExitStatus::ProbeFailed);
    probe = {};
    return {ExitStatus::ProbeUnknown, "probe-unknown",
            QByteArray("the outcome of the probe is unknown: ") + Paths::logFile.data()
                + " does not show it, or another program has chosen a server since"};
}

/// Chooses the server with the index or address in the argument, or else the one in use.
/// @param index set to the server's index; -1 if nothing was chosen
Reply choose(const Options &options, const QDeadlineTimer &deadline, int &index)
{
    index = options.index.value_or(-1);
    if (!options.index) {
        Reply reply = DaemonClient::ask(deadline, options.wait);
        if (reply.configuration)
            index = options.argument.isEmpty() ? reply.configuration->chosenIndex()
                                               : reply.configuration->indexOf(options.argument);
        if (reply.configuration && index < 0)
            reply.verdict = {ExitStatus::Failed, "no-such-server",
                             options.argument.isEmpty()
                                 ? "no default server is in use"
                                 : "no default server has this address; see 'quillonctl show'"};
        if (index < 0)
            return reply;
    }
    return DaemonClient::choose(index, deadline, options.wait);
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

    int index = -1;
    const Reply reply = choose(options, deadline, index);
    Verdict verdict = index < 0 ? reply.verdict : verdictOfChoice(reply, index);
    if (!verdict.isDone() && reply.isUnconfigured())
        verdict.message = "the daemon has no configuration; run 'quillonctl check'";
    QByteArray text = verdict.isDone() ? reply.configuration->toText() : QByteArray();
    LastProbe probe;
    if (options.probe && verdict.isDone())
        verdict = awaitProbe(log, index, deadline, probe);
    if (probe.isOver())
        text += "Probe: " + probe.toText() + '\n';
    QJsonObject document = jsonOf(verdict, reply);
    if (options.probe)
        document.insert(QStringLiteral("probe"), probe.toJson());
    return Output::conclude(verdict, options.json, document, text);
}
