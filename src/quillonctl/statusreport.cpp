#include "statusreport.h"

#include "output.h"
#include "peerprocess.h"
#include "terminaltext.h"

#include <QDateTime>

namespace {

constexpr int kHttpOk = 200;

using Outcome = Reply::Outcome;
using Probe = LogSummary::Probe;

QByteArray orUnknown(const QByteArray &text)
{
    return text.isEmpty() ? "unknown" : text;
}

QByteArray daemonText(const StatusReport &status)
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

QByteArray serverText(const StatusReport &status)
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
    case Probe::Unsent:
        return "none since this server was chosen";
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

QByteArray probeText(const StatusReport &status)
{
    const LogSummary &log = status.log;
    if (!status.logFault.isEmpty())
        return "unknown: " + TerminalText::escaped(status.logFault.toUtf8());
    QByteArray text = outcomeText(log);
    if (log.probe != Probe::None && log.probe != Probe::Unsent)
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

QJsonValue orNull(const QByteArray &text)
{
    return text.isEmpty() ? QJsonValue() : QJsonValue(QString::fromUtf8(text));
}

QString wordFor(Probe probe)
{
    switch (probe) {
    case Probe::Unsent:
        return QStringLiteral("unsent");
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

QJsonObject daemonJson(const StatusReport &status)
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

} // namespace

QByteArray StatusReport::startTime() const
{
    const QDateTime start = PeerProcess::startOf(reply.process);
    return start.isValid() ? LogText::timeText(start) : log.startTime;
}

ExitStatus StatusReport::verdict() const
{
    switch (reply.outcome) {
    case Outcome::Unreachable:
        return ExitStatus::NoDaemon;
    case Outcome::Garbled:
        return ExitStatus::Refused;
    case Outcome::Answered:
        return configuration && log.probe == Probe::Answered && log.status == kHttpOk
                   ? ExitStatus::Done
                   : ExitStatus::Refused;
    default:
        return ExitStatus::NoAnswer;
    }
}

QByteArray StatusReport::toText() const
{
    QByteArray text = "Daemon:      " + daemonText(*this) + "\nServer:      " + serverText(*this)
                      + "\nLast probe:  " + probeText(*this) + '\n';
    if (!log.lastTime.isEmpty())
        text += "Warnings of the last 24 hours:" + warningsText(log) + '\n';
    return text;
}

QByteArray StatusReport::toJson() const
{
    QJsonObject warnings;
    for (auto entry = log.warnings.cbegin(); entry != log.warnings.cend(); ++entry)
        warnings.insert(QString::fromUtf8(entry.key()), entry.value());
    const ExitStatus exit = verdict();
    return Output::jsonLine({
        {QStringLiteral("ok"), exit == ExitStatus::Done},
        {QStringLiteral("status"), static_cast<int>(exit)},
        {QStringLiteral("daemon"), daemonJson(*this)},
        {QStringLiteral("serverInUse"),
         configuration ? orNull(configuration->serverInUse().toUtf8()) : QJsonValue()},
        {QStringLiteral("lastProbe"), probeJson(log)},
        {QStringLiteral("logFault"), orNull(logFault.toUtf8())},
        {QStringLiteral("warnings"), warnings},
    });
}
