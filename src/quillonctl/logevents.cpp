#include "logevents.h"

#include "logencryption.h"
#include "protocol.h"
#include "terminaltext.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <algorithm>

namespace {

using Kind = LogEvent::Kind;
using Level = LogText::Level;

constexpr int kMaxLabelBytes = 200;

struct Pattern
{
    QLatin1String source;
    Level level = Level::Debug;
    QLatin1String start;
    std::optional<Kind> kind; ///< none: told otherwise, or ordinary
};

const Pattern kPatterns[] = {
    {QLatin1String("main.cpp"), Level::Info, QLatin1String("version:"), Kind::Version},
    {QLatin1String("serviceagent.cpp"), Level::Debug, QLatin1String("***Import Default ServerUrl"),
     Kind::Choice},
    {QLatin1String("serverjson.cpp"), Level::Debug, QLatin1String("server-url="), Kind::Server},
    {QLatin1String("serverjson.cpp"), Level::Debug, QLatin1String("sendHealthInfo url :"),
     Kind::Probe},
    {QLatin1String("servicecore.cpp"), Level::Info,
     QLatin1String(" --------Http Status Code Attribute"), Kind::Outcome},
    {QLatin1String("servicecore.cpp"), Level::Warning,
     QLatin1String("warning: checkNetworkTimeout()"), Kind::Timeout},
    {QLatin1String("servicecore.cpp"), Level::Warning, QLatin1String("warning: http nStatus"), {}},
    {QLatin1String("servicecore.cpp"), Level::Warning, {}, Kind::Fault},
    {QLatin1String("localServer.cpp"), Level::Debug, QLatin1String("The new client is connected"),
     Kind::ClientCame},
    {QLatin1String("localServer.cpp"), Level::Debug, QLatin1String("client disconnect !"),
     Kind::ClientLeft},
    {QLatin1String("localServer.cpp"), Level::Warning, QLatin1String("client does not read"),
     Kind::ClientLeft},
};

// One for each client that leaves, and one for each probe.
const Pattern kOrdinary[] = {
    {QLatin1String("localServer.cpp"),
     Level::Warning,
     QLatin1String("local socket error :  QLocalSocket::PeerClosedError"),
     {}},
    {QLatin1String("httpcommunication.cpp"),
     Level::Warning,
     QLatin1String("m_manager.networkAccessible() NotAccessible"),
     {}},
};

template<size_t size>
const Pattern *patternIn(const Pattern (&patterns)[size], const LogText::Head &head,
                         const QByteArray &text)
{
    const auto *const found =
        std::find_if(std::begin(patterns), std::end(patterns), [&](const Pattern &pattern) {
            return head.level == pattern.level && head.source == pattern.source.data()
                   && (pattern.start.isEmpty() || text.startsWith(pattern.start.data()));
        });
    return found == std::end(patterns) ? nullptr : found;
}

/// What stands between the first quote and the last; empty without quotes.
QByteArray quoted(const QByteArray &text)
{
    const int start = text.indexOf('"') + 1;
    return text.mid(start, std::max(0, text.lastIndexOf('"') - start));
}

/// Where the message comes from and its text, with all that changes from one to
/// the next taken away.
QByteArray labelOf(const QByteArray &source, const QByteArray &text)
{
    static const QRegularExpression value(QStringLiteral(R"re("(?:[^"\\]|\\.)*(?:"|$)|\b\d+\b)re"));
    QString words = QString::fromUtf8((source + ": " + text).left(kMaxLabelBytes));
    return TerminalText::escaped(words.remove(value).simplified().toUtf8());
}

} // namespace

QVector<LogEvent> LogEvents::add(const QByteArray &bytes)
{
    QVector<LogEvent> events;
    const QVector<LogLines::Piece> pieces = m_lines.add(bytes);
    for (const LogLines::Piece &piece : pieces) {
        if (piece.startsLine)
            take(piece.bytes, events);
    }
    return events;
}

void LogEvents::finish()
{
    m_lines.rest();
    m_head.reset();
}

void LogEvents::take(const QByteArray &line, QVector<LogEvent> &events)
{
    const auto head = LogText::headOf(line);
    if (head)
        m_head = head;
    if (!m_head)
        return;
    const QByteArray text = head ? line.mid(head->textStart) : line;
    if (patternIn(kOrdinary, *m_head, text) != nullptr)
        return;

    noteChoice(text);
    if (m_head->source == "httpcommunication.cpp" && text.startsWith("Failed:"))
        m_failure = quoted(text);
    const Pattern *pattern = patternIn(kPatterns, *m_head, text);
    if (pattern != nullptr && pattern->kind)
        events.append(eventOf(*pattern->kind, text.mid(pattern->start.size())));
    if (head && head->level >= Level::Warning)
        events.append({Kind::Warning, head->time, labelOf(head->source, text)});
}

LogEvent LogEvents::eventOf(LogEvent::Kind kind, const QByteArray &rest)
{
    LogEvent event{kind, m_head->time, {}};
    switch (kind) {
    case Kind::Version:
    case Kind::Probe:
        m_failure.clear();
        event.text = quoted(LogText::inClear(rest));
        break;
    case Kind::Outcome:
        event.status = rest.simplified().split(' ').constFirst().toInt();
        event.text = event.status == 0 ? TerminalText::escaped(m_failure) : QByteArray();
        break;
    case Kind::Choice:
        event.text = m_choices.isEmpty() ? QByteArray() : QByteArray::number(m_choices.takeFirst());
        break;
    case Kind::Fault:
        event.text = LogText::inClear(rest);
        break;
    default:
        break;
    }
    return event;
}

/// The daemon logs all messages of one write before it acts upon the first.
void LogEvents::noteChoice(const QByteArray &text)
{
    if (m_head->source == "localServer.cpp" && text.startsWith("recv client data"))
        m_choices.clear();
    if (m_head->source != "requests.cpp" || !text.startsWith("byteArray:"))
        return;
    const QByteArray base64 = quoted(text).mid(encryptedIdentity.size());
    const QJsonObject message =
        QJsonDocument::fromJson(LogEncryption::decryptionMessage(QByteArray::fromBase64(base64)))
            .object();
    if (Protocol::numberIn(message.value(Protocol::typeName)) == Protocol::ChooseServer)
        m_choices.append(Protocol::numberIn(message.value(Protocol::serverIndexName)));
}
