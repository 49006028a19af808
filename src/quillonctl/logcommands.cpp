#include "commands.h"

#include "daemonclient.h"
#include "logevents.h"
#include "logfile.h"
#include "paths.h"

#include <cerrno>
#include <functional>
#include <utility>

#include <poll.h>
#include <unistd.h>

namespace {

// Polls, because a kernel watch ends when the daemon deletes the log.
constexpr int kPollMilliseconds = 200;
constexpr int kMaxHeldBytes = 16 * 1024 * 1024;

constexpr char kRed[] = "\x1b[31m";
constexpr char kGreen[] = "\x1b[32m";
constexpr char kBold[] = "\x1b[1m";
constexpr char kPlain[] = "\x1b[0m";

/// Returns what to print for the next bytes of a log; they are empty at the end of the log.
using Renderer = std::function<QByteArray(const QByteArray &bytes)>;

/// The last lines of the text, at most 16 MiB; never a part of a line.
QByteArray lastLines(const QByteArray &text, int count)
{
    int start = text.size();
    for (int line = 0; line < count && start > 0; ++line) {
        const int before = start == 1 ? 0 : text.lastIndexOf('\n', start - 2) + 1;
        if (text.size() - before > kMaxHeldBytes)
            break;
        start = before;
    }
    return text.mid(start);
}

/// Renders the last lines of the log up to its present end, then everything that follows.
Renderer tailOf(const Renderer &render, int count)
{
    return [=, held = QByteArray(), isOver = false](const QByteArray &bytes) mutable {
        if (isOver)
            return render(bytes);
        held += render(bytes);
        isOver = bytes.isEmpty();
        if (isOver)
            return lastLines(std::exchange(held, {}), count);
        // Not for each piece: that would take quadratic time.
        if (held.size() > 2 * kMaxHeldBytes)
            held = lastLines(held, count);
        return QByteArray();
    };
}

/// Complains in one line when there is no daemon or no log yet.
void reportAbsence(const QString &path)
{
    const Verdict absence = path == Paths::logFile ? DaemonClient::absence() : Verdict();
    QByteArray missing = qstrcmp(absence.error, "no-daemon") == 0 ? absence.message : "";
    if (missing.isEmpty() && ::access(path.toUtf8().constData(), F_OK) != 0 && errno == ENOENT)
        missing = "no log " + path.toUtf8();
    if (!missing.isEmpty())
        Output::complain(missing + "; waiting");
}

ExitStatus print(LogFile &log, const QString &path, bool follows, bool json, const Renderer &render)
{
    if (follows)
        reportAbsence(path);
    const bool isOpen = follows || log.open();
    for (QByteArray bytes;;) {
        if (!isOpen || !(follows ? log.follow(bytes) : log.read(bytes)))
            return Output::conclude(Output::unreadable(path, errno), json);
        if (!Output::print(render(bytes)))
            return ExitStatus::Done;
        pollfd output = {STDOUT_FILENO, 0, 0}; // reports when the reader has left
        if (bytes.isEmpty() && (!follows || ::poll(&output, 1, kPollMilliseconds) > 0))
            return ExitStatus::Done;
    }
}

const char *colourOf(const LogEvent &event)
{
    if (event.kind == LogEvent::Outcome)
        return event.isSuccess() ? kGreen : kRed;
    if (event.kind == LogEvent::Fault)
        return kRed;
    return event.kind == LogEvent::Start || event.kind == LogEvent::Choice ? kBold : "";
}

QByteArray lineOf(const LogEvent &event, bool isColoured)
{
    const QByteArray kind(event.kind.data(), event.kind.size());
    const QByteArray shown = kind.leftJustified(9) + event.label + event.text;
    const char *colour = isColoured ? colourOf(event) : "";
    return event.time + "  " + colour + shown + (*colour == '\0' ? "" : kPlain) + '\n';
}

QByteArray jsonOf(const LogEvent &event)
{
    QJsonObject document{{QStringLiteral("time"), LogText::jsonTime(event.time)},
                         {QStringLiteral("event"), event.kind},
                         {QStringLiteral("text"), QString::fromUtf8(event.label + event.text)}};
    if (event.kind == LogEvent::Outcome)
        document.insert(QStringLiteral("httpStatus"),
                        event.httpStatus < 0 ? QJsonValue() : event.httpStatus);
    if (event.kind == LogEvent::Choice && !event.text.isEmpty())
        document.insert(QStringLiteral("index"), event.text.toInt());
    return Output::jsonLine(document);
}

} // namespace

ExitStatus Commands::log(const Options &options)
{
    const QString path = options.argument.isEmpty() ? Paths::logFile : options.argument;
    LogFile log(path);
    LogRenderer renderer(options.level.value_or(LogLine::Level::Debug), options.since);
    const Renderer render = [&](const QByteArray &bytes) {
        return bytes.isEmpty() && !options.follow ? renderer.rest() : renderer.add(bytes);
    };
    return print(log, path, options.follow, false,
                 options.lines ? tailOf(render, *options.lines) : render);
}

ExitStatus Commands::monitor(const Options &options)
{
    LogFile log(Paths::logFile);
    if (options.since.isEmpty() && log.open())
        log.skipToEnd();
    LogEvents events;
    const bool isColoured = ::isatty(STDOUT_FILENO) == 1 && qEnvironmentVariableIsEmpty("NO_COLOR")
                            && qgetenv("TERM") != "dumb";
    return print(log, Paths::logFile, true, options.json, [&](const QByteArray &bytes) {
        QByteArray lines;
        const QVector<LogEvent> found = events.add(bytes);
        for (const LogEvent &event : found) {
            const bool isShown = event.kind != LogEvent::Server && event.kind != LogEvent::Warning;
            if (isShown && event.time >= options.since)
                lines += options.json ? jsonOf(event) : lineOf(event, isColoured);
        }
        return lines;
    });
}
