#include "logsummary.h"

#include <utility>

namespace {

constexpr int kMaxWarningKinds = 100;

} // namespace

LogSummary::LogSummary(QByteArray warningsSince)
    : m_warningsSince(std::move(warningsSince))
{
}

void LogSummary::add(const LogEvent &event)
{
    lastTime = event.time;
    switch (event.kind) {
    case LogEvent::Kind::Version:
        forgetRun();
        version = event.text;
        startTime = event.time;
        break;
    case LogEvent::Kind::Server:
        forgetProbe();
        probe = Probe::Unsent;
        break;
    case LogEvent::Kind::Probe:
        conclude(Probe::Pending, event);
        probeUrl = event.text;
        probeTime = event.time;
        break;
    case LogEvent::Kind::Outcome:
        conclude(Probe::Answered, event);
        break;
    case LogEvent::Kind::Timeout:
        conclude(Probe::TimedOut, event);
        break;
    case LogEvent::Kind::Warning:
        if (event.time >= m_warningsSince)
            ++warnings[warnings.size() < kMaxWarningKinds || warnings.contains(event.text)
                           ? event.text
                           : QByteArrayLiteral("others")];
        break;
    default:
        break;
    }
}

void LogSummary::forgetRun()
{
    version.clear();
    startTime.clear();
    forgetProbe();
}

void LogSummary::forgetProbe()
{
    probe = Probe::None;
    probeUrl.clear();
    probeTime.clear();
}

void LogSummary::conclude(Probe outcome, const LogEvent &event)
{
    if (probe == Probe::Unsent && outcome != Probe::Pending)
        return; // of the server before
    probe = outcome;
    outcomeTime = event.time;
    status = event.status;
    failure = outcome == Probe::Answered ? event.text : QByteArray();
}
