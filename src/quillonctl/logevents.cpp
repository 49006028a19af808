#include "logevents.h"

#include "logmessages.h"
#include "protocol.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QRegularExpression>

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

constexpr int kMaxLabelBytes = 200;

struct Pattern
{
    const char *message = "";
    QLatin1String kind;
    const char *label = "";
    const char *text = ""; ///< of the event, if it is constant
};

const Pattern kPatterns[] = {
    {LogMessages::version, LogEvent::Start, "version "},
    {LogMessages::serverUrl, LogEvent::Server},
    {LogMessages::probe, LogEvent::Probe},
    {LogMessages::probeStatus, LogEvent::Outcome},
    {LogMessages::probeTimeout, LogEvent::Outcome, "", "timed out"},
    {LogMessages::choice, LogEvent::Choice, "default server "},
    {LogMessages::fileMissing, LogEvent::Fault},
    {LogMessages::fileNotOpened, LogEvent::Fault},
    {LogMessages::fileNotParsed, LogEvent::Fault},
    {LogMessages::fileNotWritten, LogEvent::Fault},
    {LogMessages::indexOutOfRange, LogEvent::Fault},
    {LogMessages::listenFailed, LogEvent::Fault},
    {LogMessages::socketLost, LogEvent::Fault},
    {LogMessages::clientCame, LogEvent::Client, "", "came"},
    {LogMessages::clientLeft, LogEvent::Client, "", "left"},
    {LogMessages::clientDropped, LogEvent::Client, "", "left"},
};

/// What is between the first quotation mark and the last; empty without them.
QByteArray quoted(const QByteArray &text)
{
    const int start = text.indexOf('"') + 1;
    return text.mid(start, std::max(0, text.lastIndexOf('"') - start));
}

/// The message without quoted texts and numbers, so that equal warnings count together.
QByteArray labelOf(const QByteArray &text)
{
    static const QRegularExpression value(QStringLiteral(R"re("(?:[^"\\]|\\.)*(?:"|$)|\b\d+\b)re"));
    QString words = QString::fromUtf8(text.left(kMaxLabelBytes));
    return Output::escaped(words.remove(value).simplified().toUtf8());
}

/// How many seconds ago it was; nothing if this is not a time.
std::optional<qint64> ageOf(const QByteArray &time)
{
    const QDateTime past = QDateTime::fromString(QString::fromLatin1(time), LogLine::kTimeFormat);
    if (!past.isValid())
        return {};
    return std::max<qint64>(0, past.secsTo(QDateTime::currentDateTime()));
}

} // namespace

QVector<LogEvent> LogEvents::add(const QByteArray &bytes)
{
    QVector<LogEvent> events;
    m_unread += bytes;
    const QVector<QByteArray> lines = LogText::takeLines(m_unread);
    for (const QByteArray &line : lines)
        take(line, events);
    return events;
}

void LogEvents::take(const QByteArray &line, QVector<LogEvent> &events)
{
    const auto head = LogLine::headOf(line);
    if (head)
        m_head = head;
    const QByteArray text = head ? line.mid(head->textStart) : line;
    // The daemon logs this warning for each client that leaves.
    const bool isOrdinary =
        text.startsWith(LogMessages::clientError) && text.endsWith("PeerClosedError");
    if (!m_head || isOrdinary)
        return;

    noteChoice(text);
    noteFailure(text);
    for (const Pattern &pattern : kPatterns) {
        // A message may begin with line feeds, which are separate lines in the log.
        const QByteArray start = pattern.message + std::strspn(pattern.message, "\n");
        if (!text.startsWith(start))
            continue;
        LogEvent event{pattern.kind, m_head->time, pattern.label, pattern.text, -1, {}};
        if (event.text.isEmpty())
            fill(event, text, text.mid(start.size()));
        events.append(event);
    }
    if (head && head->level >= LogLine::Level::Warning)
        events.append({LogEvent::Warning, head->time, "", labelOf(text), -1, {}});
}

/// The errors of the TLS handshake, a list of quoted texts, precede the failure of the request.
void LogEvents::noteFailure(const QByteArray &text)
{
    const QByteArray reason =
        Output::escaped(quoted(text).replace("\", \"", "; ").replace("\\\"", "\""));
    if (text.startsWith(LogMessages::tlsFault))
        m_tlsErrors = reason;
    if (!text.startsWith(LogMessages::requestFailed))
        return;
    QByteArray errors = std::exchange(m_tlsErrors, {});
    if (errors.isEmpty() && text.contains("SslHandshakeFailedError"))
        errors = "no certificate error, so perhaps the port does not speak TLS";
    m_failure = errors.isEmpty() ? reason : reason + ": " + errors;
}

/// Queues the index: the daemon logs all messages of a write before it acts on the first.
void LogEvents::noteChoice(const QByteArray &text)
{
    if (text.startsWith(LogMessages::received))
        m_choices.clear();
    if (!text.startsWith(LogMessages::frame))
        return;
    const auto message = QJsonDocument::fromJson(LogLine::unscrambled(quoted(text))).object();
    if (Protocol::numberIn(message.value(Protocol::typeName)) == Protocol::ChooseServer)
        m_choices.append(Protocol::numberIn(message.value(Protocol::serverIndexName)));
}

/// @param value the end of the text, which differs from one message to the next
void LogEvents::fill(LogEvent &event, const QByteArray &text, const QByteArray &value)
{
    if (event.kind == LogEvent::Start || event.kind == LogEvent::Probe) {
        m_failure.clear();
        event.text = quoted(LogText::inClear(value));
    } else if (event.kind == LogEvent::Outcome) {
        event.httpStatus = value.simplified().split(' ').constFirst().toInt();
        event.text = "HTTP status " + QByteArray::number(event.httpStatus);
    } else if (event.kind == LogEvent::Choice && !m_choices.isEmpty()) {
        event.text = QByteArray::number(m_choices.takeFirst());
    } else if (event.kind == LogEvent::Fault) {
        event.text = LogText::inClear(text);
    }
    if (event.httpStatus != 0)
        return;
    event.failure = m_failure;
    event.text = "no HTTP response";
    if (!m_failure.isEmpty())
        event.text += " (" + m_failure + ')';
}

void LastProbe::add(const LogEvent &event)
{
    const bool isSent = event.kind == LogEvent::Probe;
    if (isSent || event.kind == LogEvent::Start || event.kind == LogEvent::Server) {
        m_isUnsent = event.kind == LogEvent::Server;
        m_probe = isSent ? event : LogEvent();
        m_outcome = {};
    }
    if (event.kind == LogEvent::Outcome && !m_isUnsent) // otherwise the previous server's
        m_outcome = event;
}

Verdict LastProbe::verdict(ExitStatus failed) const
{
    if (!isOver())
        return {ExitStatus::ProbeUnknown, "probe-unknown",
                "the outcome of the probe is unknown: " + toText()};
    if (m_outcome.isSuccess())
        return {};
    return {failed, "probe-failed", "the probe failed: " + toText()};
}

QByteArray LastProbe::toText() const
{
    if (isOver())
        return m_outcome.text + ", " + m_outcome.time;
    if (isPending())
        return "pending, sent " + m_probe.time;
    return m_isUnsent ? "none since this server was chosen" : "none in the log";
}

QByteArray LastProbe::ageText() const
{
    constexpr std::pair<int, const char *> units[] = {
        {86400, " days ago"}, {3600, " h ago"}, {60, " min ago"}, {1, " s ago"}};
    const auto seconds = ageOf(m_outcome.time);
    for (const auto &[size, name] : units) {
        if (seconds && (*seconds >= 2 * size || size == 1)) // "1 days" would be wrong
            return " (" + QByteArray::number(*seconds / size) + name + ')';
    }
    return {};
}

QJsonObject LastProbe::toJson() const
{
    const auto age = ageOf(m_outcome.time);
    const bool isAnswered = isOver() && !hasTimedOut();
    QByteArray state = m_isUnsent ? "unsent" : "";
    if (isPending())
        state = "pending";
    if (isOver())
        state = isAnswered ? "answered" : "timed-out";
    return {{QStringLiteral("state"), Output::orNull(state)},
            {QStringLiteral("httpStatus"), isAnswered ? m_outcome.httpStatus : QJsonValue()},
            {QStringLiteral("failure"), Output::orNull(m_outcome.failure)},
            {QStringLiteral("url"), Output::orNull(m_probe.text)},
            {QStringLiteral("sent"), LogText::jsonTime(m_probe.time)},
            {QStringLiteral("ended"), LogText::jsonTime(m_outcome.time)},
            {QStringLiteral("age"), age ? *age : QJsonValue()}};
}
