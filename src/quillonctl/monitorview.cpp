#include "monitorview.h"

#include <utility>

namespace {

constexpr int kHttpOk = 200;
constexpr int kWordWidth = 9;

constexpr char kRed[] = "\x1b[31m";
constexpr char kGreen[] = "\x1b[32m";
constexpr char kBold[] = "\x1b[1m";
constexpr char kPlain[] = "\x1b[0m";

struct Words
{
    const char *color; ///< null: none
    QByteArray what;
    QByteArray text;
};

Words outcomeOf(const LogEvent &event)
{
    if (event.status == kHttpOk)
        return {kGreen, "outcome", "200"};
    const QByteArray why = event.text.isEmpty() ? event.text : " (" + event.text + ')';
    return {kRed, "outcome",
            event.status == 0 ? "no HTTP response" + why : QByteArray::number(event.status)};
}

Words wordsFor(const LogEvent &event)
{
    switch (event.kind) {
    case LogEvent::Kind::Version:
        return {kBold, "start", "version " + event.text};
    case LogEvent::Kind::Probe:
        return {nullptr, "probe", event.text};
    case LogEvent::Kind::Outcome:
        return outcomeOf(event);
    case LogEvent::Kind::Timeout:
        return {kRed, "outcome", "timed out"};
    case LogEvent::Kind::Choice:
        return {kBold, "choice", "default server " + (event.text.isEmpty() ? "?" : event.text)};
    case LogEvent::Kind::Fault:
        return {kRed, "fault", event.text};
    case LogEvent::Kind::ClientCame:
        return {nullptr, "client", "came"};
    case LogEvent::Kind::ClientLeft:
        return {nullptr, "client", "left"};
    case LogEvent::Kind::Server:
    case LogEvent::Kind::Warning:
        break;
    }
    return {nullptr, {}, {}};
}

} // namespace

MonitorView::MonitorView(bool isColoured, QByteArray since)
    : m_isColoured(isColoured)
    , m_since(std::move(since))
{
}

QByteArray MonitorView::add(const QByteArray &bytes)
{
    QByteArray lines;
    const QVector<LogEvent> events = m_events.add(bytes);
    for (const LogEvent &event : events) {
        if (event.time >= m_since)
            lines += lineOf(event);
    }
    return lines;
}

QByteArray MonitorView::rest()
{
    m_events.finish();
    return {};
}

QByteArray MonitorView::lineOf(const LogEvent &event) const
{
    const Words words = wordsFor(event);
    if (words.what.isEmpty())
        return {};
    const QByteArray shown = words.what.leftJustified(kWordWidth) + words.text;
    const bool isColoured = m_isColoured && words.color != nullptr;
    return event.time + "  " + (isColoured ? words.color + shown + kPlain : shown) + '\n';
}
