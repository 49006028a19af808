#include "commands.h"

#include "daemonclient.h"
#include "logevents.h"
#include "logfile.h"
#include "paths.h"

#include <QDateTime>
#include <QDeadlineTimer>
#include <QFileInfo>
#include <QThread>

#include <cerrno>

namespace {

constexpr unsigned long kPauseMilliseconds = 200;

struct DaemonState
{
    Reply reply;
    FileComparison file; ///< with what the daemon reports

    LogEvent start; ///< of the daemon; the time or the text is empty if it is unknown
    QByteArray lastTime; ///< of any event in the log
    LastProbe probe;
    QJsonObject warnings; ///< of the last 24 hours: how many of each kind
    QByteArray logFault; ///< why the log says nothing about the daemon; else empty
};

void add(const LogEvent &event, const QByteArray &yesterday, DaemonState &state)
{
    state.lastTime = event.time;
    state.probe.add(event);
    if (event.kind == LogEvent::Start)
        state.start = event;
    if (event.kind != LogEvent::Warning || event.time < yesterday)
        return;
    const QString label = QString::fromUtf8(event.text);
    state.warnings.insert(label, state.warnings.value(label).toInt() + 1);
}

void readLog(DaemonState &state)
{
    const QByteArray yesterday = LogText::timeText(QDateTime::currentDateTime().addDays(-1));
    LogEvents events;
    LogFile log(Paths::logFile);
    bool isReadable = log.open();
    for (QByteArray bytes; isReadable && (isReadable = log.read(bytes)) && !bytes.isEmpty();) {
        const QVector<LogEvent> found = events.add(bytes);
        for (const LogEvent &event : found)
            add(event, yesterday, state);
    }
    if (!isReadable)
        state.logFault = Output::unreadable(Paths::logFile, errno).message;
}

DaemonState stateNow(const QDeadlineTimer &deadline, bool isPatient)
{
    const QDateTime visit = QDateTime::currentDateTime();
    DaemonState state;
    state.reply = DaemonClient::ask(deadline, isPatient);
    if (state.reply.configuration)
        state.file = state.reply.configuration->compareWithFile();
    readLog(state); // last, so that the log contains our request
    if (state.reply.process == 0)
        return state;
    // The log has our request, or at least the start, unless the daemon cannot write it.
    const QDateTime listening = QFileInfo(Paths::socket).lastModified();
    const QDateTime logged = state.reply.verdict.isDone() ? visit : listening;
    if (state.logFault.isEmpty() && state.lastTime < LogText::timeText(logged.addSecs(-1)))
        state.logFault = QByteArray("the running daemon does not write ") + Paths::logFile.data();
    state.start.time = LogText::timeText(listening);
    if (!state.logFault.isEmpty())
        state.start.text.clear();
    if (!state.logFault.isEmpty() || state.reply.isUnconfigured())
        state.probe = {};
    if (state.probe.isUnsent())
        state.file.advice = "the choice is not saved, because this file cannot be replaced; see "
                            "DIAGNOSTICS in 'man quillon', then choose again";
    return state;
}

Verdict verdictOf(const DaemonState &state)
{
    if (!state.reply.verdict.isDone())
        return state.reply.verdict;
    if (state.reply.isUnconfigured())
        return {ExitStatus::Failed, "no-configuration", "the daemon has no configuration"};
    Verdict verdict = state.probe.verdict(ExitStatus::Failed);
    if (!state.logFault.isEmpty())
        verdict.message = state.logFault;
    return verdict;
}

QByteArray daemonText(const DaemonState &state)
{
    const Reply &reply = state.reply;
    QByteArray text = reply.verdict.isDone() ? "answers" : Output::escaped(reply.verdict.message);
    if (state.start.time.isEmpty())
        return text;
    text += reply.process == 0 ? "\nLast start:  "
                               : "\nProcess:     " + QByteArray::number(reply.process) + ", since ";
    return text + state.start.time + ", version "
           + (state.start.text.isEmpty() ? "unknown" : state.start.text);
}

QByteArray textOf(const DaemonState &state)
{
    const auto &configuration = state.reply.configuration;
    QByteArray text = "Daemon:      " + daemonText(state) + "\nServer:      "
                      + (configuration ? configuration->serverText() : "unknown");
    if (!state.file.advice.isEmpty())
        text += QByteArray("\nFile:        ") + Paths::configuration.data() + ": "
                + Output::escaped(state.file.text());
    if (state.reply.isUnconfigured())
        return text + "\nLast probe:  none, because the daemon has no configuration\n";
    text += "\nLast probe:  "
            + (state.logFault.isEmpty() ? state.probe.toText() + state.probe.ageText()
                                        : "unknown: " + Output::escaped(state.logFault));
    if (state.probe.hasTimedOut())
        text += "; run 'quillonctl check'";
    if (!state.probe.url().isEmpty())
        text += "\nProbe URL:   " + state.probe.url();
    if (!state.lastTime.isEmpty())
        text += QByteArray("\nWarnings of the last 24 hours:")
                + (state.warnings.isEmpty() ? " none" : "");
    for (auto warning = state.warnings.begin(); warning != state.warnings.end(); ++warning)
        text += '\n' + QByteArray::number(warning.value().toInt()).rightJustified(6) + "  "
                + warning.key().toUtf8();
    return text + '\n';
}

QJsonObject jsonOf(const DaemonState &state)
{
    const auto configuration = state.reply.configuration.value_or(Configuration(QVariantMap()));
    const int index = configuration.chosenIndex();
    const QJsonObject daemon{
        {QStringLiteral("answers"), state.reply.verdict.isDone()},
        {QStringLiteral("reason"), Output::orNull(state.reply.verdict.message)},
        {QStringLiteral("process"), state.reply.process == 0 ? QJsonValue() : state.reply.process},
        {QStringLiteral("since"), LogText::jsonTime(state.start.time)},
        {QStringLiteral("version"), Output::orNull(state.start.text)}};
    return verdictOf(state).toJson(
        {{QStringLiteral("daemon"), daemon},
         {QStringLiteral("serverInUse"), Output::orNull(configuration.serverInUse().toUtf8())},
         {QStringLiteral("serverIndex"), index == -1 ? QJsonValue() : index},
         {QStringLiteral("fileDiffers"), state.file.differs ? *state.file.differs : QJsonValue()},
         {QStringLiteral("fileFault"), Output::orNull(state.file.text())},
         {QStringLiteral("lastProbe"), state.probe.toJson()},
         {QStringLiteral("logFault"), Output::orNull(state.logFault)},
         {QStringLiteral("warnings"), state.lastTime.isEmpty() ? QJsonValue() : state.warnings}});
}

} // namespace

ExitStatus Commands::status(const Options &options)
{
    const QDeadlineTimer deadline(options.timeout);
    DaemonState state = stateNow(deadline, options.wait);
    while (options.wait && state.probe.isPending() && !deadline.hasExpired()) {
        QThread::msleep(kPauseMilliseconds);
        state = stateNow(QDeadlineTimer(options.timeout), options.wait);
    }
    Output::print(options.json ? Output::jsonLine(jsonOf(state)) : textOf(state));
    return verdictOf(state).status;
}
