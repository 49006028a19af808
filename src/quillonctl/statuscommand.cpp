#include "statuscommand.h"

#include "configcommands.h"
#include "fileaccess.h"
#include "logfile.h"
#include "options.h"
#include "output.h"
#include "peerprocess.h"
#include "statusreport.h"

#include <QDateTime>

#include <cerrno>

namespace {

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
bool isOfEarlierRun(const StatusReport &status)
{
    const QDateTime start = PeerProcess::startOf(status.reply.process);
    return start.isValid() && status.log.lastTime < LogText::timeText(start.addSecs(-1));
}

/// A daemon that could write its log has told of our visit.
bool isSilentOfVisit(const StatusReport &status, const QDateTime &visit)
{
    return status.reply.outcome == Reply::Outcome::Answered
           && status.log.lastTime < LogText::timeText(visit.addSecs(-1));
}

void dropWhatDoesNotCount(StatusReport &status, const QDateTime &visit)
{
    if (!status.logFault.isEmpty())
        return;
    if (isOfEarlierRun(status)) {
        status.log.forgetRun();
        status.logFault = QStringLiteral("%1 tells nothing of this run").arg(Paths::logFile);
    } else if (isSilentOfVisit(status, visit)) {
        status.log.forgetProbe();
        status.logFault = QStringLiteral("%1 is not written any more").arg(Paths::logFile);
    }
}

// The log is read last, so that it tells of our visit.
StatusReport look(const Options &options)
{
    const QDateTime visit = QDateTime::currentDateTime();
    const DaemonClient client(options.timeout, options.wait);
    StatusReport status{client.ask(ConfigCommands::configurationRequest()),
                        {},
                        LogSummary(LogText::timeText(QDateTime::currentDateTime().addDays(-1))),
                        {}};
    status.configuration = Configuration::fromMessage(status.reply.configuration);
    status.logFault = readLog(Paths::logFile, status.log);
    dropWhatDoesNotCount(status, visit);
    return status;
}

} // namespace

ExitStatus StatusCommand::run(const Options &options)
{
    const StatusReport status = look(options);
    return Output::print(options.json ? status.toJson() : status.toText()) ? status.verdict()
                                                                           : ExitStatus::Refused;
}
