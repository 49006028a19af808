#include "commands.h"

#include "daemonclient.h"
#include "logevents.h"
#include "logfile.h"
#include "paths.h"

#include <QDateTime>
#include <QDeadlineTimer>
#include <QFileInfo>

#include <cerrno>

namespace {

constexpr int kMaxWarningKinds = 100;
constexpr int kCountWidth = 6;

struct Report
{
    Reply reply;
    FileComparison file; ///< with what the daemon reports

    QByteArray version; ///< of the last start in the log; empty if there is none
    QByteArray startTime; ///< of the daemon; empty when it is unknown
    QByteArray lastTime; ///< of any event in the log
    LastProbe probe;
    QJsonObject warnings; ///< of the last 24 hours: how many of each kind
    QByteArray logFault; ///< why the log says nothing about the daemon; else empty

    bool hasNoConfiguration() const
    {
        return reply.configuration && !reply.configuration->isLoaded();
    }
};

void add(const LogEvent &event, const QByteArray &yesterday, Report &report)
{
    report.lastTime = event.time;
    report.probe.add(event);
    if (event.kind == LogEvent::Start) {
        report.version = event.text;
        report.startTime = event.time;
    }
    if (event.kind != LogEvent::Warning || event.time < yesterday)
        return;
    QString label = QString::fromUtf8(event.text);
    if (report.warnings.size() >= kMaxWarningKinds && !report.warnings.contains(label))
        label = QStringLiteral("others");
    report.warnings.insert(label, report.warnings.value(label).toInt() + 1);
}

void readLog(Report &report)
{
    const QByteArray yesterday = LogText::timeText(QDateTime::currentDateTime().addDays(-1));
    LogEvents events;
    LogFile log(Paths::logFile);
    bool isReadable = log.open();
    for (QByteArray bytes; isReadable && (isReadable = log.read(bytes)) && !bytes.isEmpty();) {
        const QVector<LogEvent> found = events.add(bytes);
        for (const LogEvent &event : found)
            add(event, yesterday, report);
    }
    if (!isReadable)
        report.logFault = Output::unreadable(Paths::logFile, errno).message;
}

Report look(const Options &options)
{
    const QDateTime visit = QDateTime::currentDateTime();
    Report report;
    report.reply = DaemonClient::ask(QDeadlineTimer(options.timeout), options.wait);
    if (report.reply.configuration)
        report.file = report.reply.configuration->compareWithFile();
    readLog(report); // last, so that the log contains our request
    if (report.reply.process == 0)
        return report;
    // If the daemon cannot write its log, an outdated log may be there.
    const QDateTime listening = QFileInfo(Paths::socket).lastModified();
    const QDateTime logged = report.reply.verdict.isDone() ? visit : listening;
    if (report.logFault.isEmpty() && report.lastTime < LogText::timeText(logged.addSecs(-1)))
        report.logFault = QByteArray("the running daemon does not write ") + Paths::logFile.data();
    report.startTime = LogText::timeText(listening);
    if (!report.logFault.isEmpty())
        report.version.clear();
    if (!report.logFault.isEmpty() || report.hasNoConfiguration())
        report.probe = {};
    return report;
}

Verdict verdictOf(const Report &report)
{
    if (!report.reply.verdict.isDone())
        return report.reply.verdict;
    if (report.hasNoConfiguration())
        return {ExitStatus::Failed, "no-configuration", "the daemon has no configuration"};
    Verdict verdict = report.probe.verdict(ExitStatus::Failed);
    if (!report.logFault.isEmpty())
        verdict.message = report.logFault;
    return verdict;
}

QByteArray daemonText(const Report &report)
{
    const Reply &reply = report.reply;
    QByteArray text = reply.verdict.isDone() ? "answers" : Output::escaped(reply.verdict.message);
    if (report.startTime.isEmpty())
        return text;
    text += reply.process == 0 ? "\nLast start:  "
                               : "\nProcess:     " + QByteArray::number(reply.process) + ", since ";
    return text + report.startTime + ", version "
           + (report.version.isEmpty() ? "unknown" : report.version);
}

QByteArray textOf(const Report &report)
{
    const auto &configuration = report.reply.configuration;
    const QByteArray path = Paths::configuration.data();
    QByteArray text = "Daemon:      " + daemonText(report) + "\nServer:      "
                      + (configuration ? configuration->serverText() : "unknown");
    if (!report.file.advice.isEmpty())
        text += "\nFile:        " + path + ": " + Output::escaped(report.file.advice);
    if (report.hasNoConfiguration())
        return text + "\nLast probe:  none, because the daemon has no configuration\n";
    text += "\nLast probe:  "
            + (report.logFault.isEmpty() ? report.probe.toText()
                                         : "unknown: " + Output::escaped(report.logFault));
    if (!report.probe.url().isEmpty())
        text += "\nProbe URL:   " + report.probe.url();
    if (!report.lastTime.isEmpty())
        text += QByteArray("\nWarnings of the last 24 hours:")
                + (report.warnings.isEmpty() ? " none" : "");
    for (auto warning = report.warnings.begin(); warning != report.warnings.end(); ++warning)
        text += '\n' + QByteArray::number(warning.value().toInt()).rightJustified(kCountWidth)
                + "  " + warning.key().toUtf8();
    return text + '\n';
}

QJsonObject daemonJson(const Report &report)
{
    const Reply &reply = report.reply;
    return {{QStringLiteral("answers"), reply.verdict.isDone()},
            {QStringLiteral("reason"), Output::orNull(reply.verdict.message)},
            {QStringLiteral("process"), reply.process == 0 ? QJsonValue() : reply.process},
            {QStringLiteral("since"), LogText::jsonTime(report.startTime)},
            {QStringLiteral("version"), Output::orNull(report.version)}};
}

QJsonObject jsonOf(const Report &report)
{
    const auto &configuration = report.reply.configuration;
    const QString server = configuration ? configuration->serverInUse() : QString();
    const int index = configuration ? configuration->chosenIndex() : -1;
    return verdictOf(report).toJson(
        {{QStringLiteral("daemon"), daemonJson(report)},
         {QStringLiteral("serverInUse"), Output::orNull(server.toUtf8())},
         {QStringLiteral("serverIndex"), index == -1 ? QJsonValue() : index},
         {QStringLiteral("fileDiffers"), report.file.differs ? *report.file.differs : QJsonValue()},
         {QStringLiteral("fileFault"), Output::orNull(report.file.advice)},
         {QStringLiteral("lastProbe"), report.probe.toJson()},
         {QStringLiteral("logFault"), Output::orNull(report.logFault)},
         {QStringLiteral("warnings"), report.lastTime.isEmpty() ? QJsonValue() : report.warnings}});
}

} // namespace

ExitStatus Commands::status(const Options &options)
{
    const Report report = look(options);
    Output::print(options.json ? Output::jsonLine(jsonOf(report)) : textOf(report));
    return verdictOf(report).status;
}
