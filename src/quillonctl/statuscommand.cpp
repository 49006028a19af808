#include "statuscommand.h"

#include "configcommands.h"
#include "configuration.h"
#include "daemonclient.h"
#include "fileaccess.h"
#include "logfile.h"
#include "logsummary.h"
#include "options.h"
#include "output.h"
#include "peerprocess.h"
#include "terminaltext.h"

#include <QDateTime>

#include <cerrno>

namespace {

constexpr int kHttpOk = 200;

using Outcome = Reply::Outcome;
using Probe = LogSummary::Probe;

struct Status
{
    Reply reply;
    std::optional<Configuration> configuration;
    LogSummary log;
    QString logFault; ///< why the log tells nothing, or nothing of this run; else empty

    QByteArray startTime() const
    {
        const QDateTime start = PeerProcess::startOf(reply.process);
        return start.isValid() ? LogText::timeText(start) : log.startTime;
    }
};

QString readLog(const QString &path, LogSummary &summary)
{
    LogFile log(path);
    if (!log.open())
        return FileAccess::refusal(path, errno);
    LogEvents events;
    for (QByteArray bytes;;) {
        if (!log.read(bytes))
            return FileAccess::refusal(path, errno);
        if (bytes.isEmpty())
            return {};
        const QVector<LogEvent> found = events.add(bytes);
        for (const LogEvent &event : found)
            summary.add(event);
    }
}

/// A daemon that cannot write its log leaves that of an earlier run behind.
bool isOfEarlierRun(const Status &status)
{
    const QDateTime start = PeerProcess::startOf(status.reply.process);
    return start.isValid() && status.log.lastTime < LogText::timeText(start.addSecs(-1));
}

/// A daemon that could write its log has told of our visit.
bool isSilentOfVisit(const Status &status, const QDateTime &visit)
{
    return status.reply.outcome == Outcome::Answered
           && status.log.lastTime < LogText::timeText(visit.addSecs(-1));
}

/// A choice that could not be kept is in use, but not probed.
bool isOfOtherServer(const Status &status)
{
    return status.configuration && !status.log.probeUrl.isEmpty()
           && !status.log.probeUrl.startsWith(
               TerminalText::escaped(status.configuration->serverInUse().toUtf8()));
}

void dropWhatDoesNotCount(Status &status, const QDateTime &visit)
{
    if (!status.logFault.isEmpty())
        return;
    if (isOfEarlierRun(status)) {
        status.log.forgetRun();
        status.logFault = QStringLiteral("%1 tells nothing of this run").arg(Paths::logFile);
    } else if (isSilentOfVisit(status, visit)) {
        status.log.forgetProbe();
        status.logFault = QStringLiteral("%1 is not written any more").arg(Paths::logFile);
    } else if (isOfOtherServer(status)) {
        status.log.forgetProbe();
        status.logFault = QStringLiteral("this server was not probed since it was chosen");
    }
}

// The log is read last, so that it tells of our visit.
Status look(const Options &options)
{
    const QDateTime visit = QDateTime::currentDateTime();
    const DaemonClient client(options.timeout, options.wait);
    Status status{client.ask(ConfigCommands::configurationRequest()),
                  {},
                  LogSummary(LogText::timeText(QDateTime::currentDateTime().addDays(-1))),
                  {}};
    status.configuration = Configuration::fromMessage(status.reply.configuration);
    status.logFault = readLog(Paths::logFile, status.log);
    dropWhatDoesNotCount(status, visit);
    return status;
}

ExitStatus verdict(const Status &status)
{
    switch (status.reply.outcome) {
    case Outcome::Unreachable:
        return ExitStatus::NoDaemon;
    case Outcome::Garbled:
        return ExitStatus::Refused;
    case Outcome::Answered:
        return status.configuration && status.log.probe == Probe::Answered
                       && status.log.status == kHttpOk
                   ? ExitStatus::Done
                   : ExitStatus::Refused;
    default:
        return ExitStatus::NoAnswer;
    }
}

QByteArray orUnknown(const QByteArray &text)
{
    return text.isEmpty() ? "unknown" : text;
}

QByteArray daemonText(const Status &status)
{
    const bool answers = status.reply.outcome == Outcome::Answered;
    QByteArray text = answers ? "answers" : TerminalText::escaped(status.reply.reason.toUtf8());
    if (status.reply.process != 0)
        text += "\nProcess:     " + QByteArray::number(status.reply.process) + ", since "
                + orUnknown(status.startTime()) + ", version " + orUnknown(status.log.version);
    else if (!status.startTime().isEmpty())
        text +=
            "\nLast start:  " + status.startTime() + ", version " + orUnknown(status.log.version);
    return text;
}

QByteArray serverText(const Status &status)
{
    const auto &seen = status.configuration;
    if (!seen)
        return "unknown";
    const QByteArray server = TerminalText::escaped(seen->serverInUse().toUtf8());
    if (server.isEmpty())
        return "none; see 'quillonctl show' and 'quillonctl check'";
    return server
           + (seen->usesDefault ? " (default server " + QByteArray::number(seen->defaultIndex) + ')'
                                : QByteArrayLiteral(" (custom address)"));
}

QByteArray outcomeText(const LogSummary &log)
{
    switch (log.probe) {
    case Probe::None:
        return "none told by the log";
    case Probe::Pending:
        return "pending, sent";
    case Probe::TimedOut:
        return "timed out,";
    case Probe::Answered:
        break;
    }
    if (log.status != 0)
        return "HTTP status " + QByteArray::number(log.status) + ',';
    return "no HTTP response" + (log.failure.isEmpty() ? log.failure : " (" + log.failure + ')')
           + ',';
}

QByteArray probeText(const Status &status)
{
    const LogSummary &log = status.log;
    if (!status.logFault.isEmpty())
        return "unknown: " + TerminalText::escaped(status.logFault.toUtf8());
    QByteArray text = outcomeText(log);
    if (log.probe != Probe::None)
        text += ' ' + log.outcomeTime;
    return log.probeUrl.isEmpty() ? text : text + "\nProbe URL:   " + log.probeUrl;
}

QByteArray warningsText(const LogSummary &log)
{
    constexpr int countWidth = 6;
    QByteArray text;
    for (auto entry = log.warnings.cbegin(); entry != log.warnings.cend(); ++entry)
        text += '\n' + QByteArray::number(entry.value()).rightJustified(countWidth) + "  "
                + entry.key();
    return text.isEmpty() ? " none" : text;
}

QByteArray textOf(const Status &status)
{
    QByteArray text = "Daemon:      " + daemonText(status) + "\nServer:      " + serverText(status)
                      + "\nLast probe:  " + probeText(status) + '\n';
    if (!status.log.lastTime.isEmpty())
        text += "Warnings of the last 24 hours:" + warningsText(status.log) + '\n';
    return text;
}

QJsonValue orNull(const QByteArray &text)
{
    return text.isEmpty() ? QJsonValue() : QJsonValue(QString::fromUtf8(text));
}

QString wordFor(Probe probe)
{
    switch (probe) {
    case Probe::Pending:
        return QStringLiteral("pending");
    case Probe::Answered:
        return QStringLiteral("answered");
    case Probe::TimedOut:
        return QStringLiteral("timed-out");
    case Probe::None:
        break;
    }
    return QStringLiteral("unknown");
}

QJsonObject daemonJson(const Status &status)
{
    const bool answers = status.reply.outcome == Outcome::Answered;
    return {{QStringLiteral("answers"), answers},
            {QStringLiteral("reason"), answers ? QJsonValue() : status.reply.reason},
            {QStringLiteral("process"), status.reply.process},
            {QStringLiteral("since"), orNull(status.startTime())},
            {QStringLiteral("version"), orNull(status.log.version)}};
}

QJsonObject probeJson(const LogSummary &log)
{
    return {{QStringLiteral("state"), wordFor(log.probe)},
            {QStringLiteral("httpStatus"), log.status},
            {QStringLiteral("failure"), orNull(log.failure)},
            {QStringLiteral("url"), orNull(log.probeUrl)},
            {QStringLiteral("sent"), orNull(log.probeTime)},
            {QStringLiteral("ended"),
             log.probe == Probe::Pending ? QJsonValue() : orNull(log.outcomeTime)}};
}

QByteArray documentOf(const Status &status)
{
    QJsonObject warnings;
    for (auto entry = status.log.warnings.cbegin(); entry != status.log.warnings.cend(); ++entry)
        warnings.insert(QString::fromUtf8(entry.key()), entry.value());
    const ExitStatus exit = verdict(status);
    const auto &seen = status.configuration;
    return Output::jsonLine({
        {QStringLiteral("ok"), exit == ExitStatus::Done},
        {QStringLiteral("status"), static_cast<int>(exit)},
        {QStringLiteral("daemon"), daemonJson(status)},
        {QStringLiteral("serverInUse"), seen ? orNull(seen->serverInUse().toUtf8()) : QJsonValue()},
        {QStringLiteral("lastProbe"), probeJson(status.log)},
        {QStringLiteral("logFault"), orNull(status.logFault.toUtf8())},
        {QStringLiteral("warnings"), warnings},
    });
}

} // namespace

ExitStatus StatusCommand::run(const Options &options)
{
    const Status status = look(options);
    return Output::print(options.json ? documentOf(status) : textOf(status)) ? verdict(status)
                                                                             : ExitStatus::Refused;
}
