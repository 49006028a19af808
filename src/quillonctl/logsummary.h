#pragma once

#include "logevents.h"

#include <QMap>

/// What the events of a log come to: the last run, its last probe, the warnings.
class LogSummary
{
public:
    enum class Probe {
        None, ///< the log tells of none
        Unsent, ///< since another server was chosen
        Pending,
        Answered,
        TimedOut,
    };

    /// @param warningsSince in the log's own time format
    explicit LogSummary(QByteArray warningsSince);

    void add(const LogEvent &event);

    /// Forgets the run, or its last probe: it is not the one that is asked about.
    void forgetRun();
    void forgetProbe();

    QByteArray version; ///< empty when the log does not reach back to the start
    QByteArray startTime; ///< the same
    QByteArray lastTime; ///< of any event, of whatever run
    Probe probe = Probe::None; ///< the last one since the start
    QByteArray probeUrl; ///< empty when only the outcome is known
    QByteArray probeTime; ///< when it was sent; empty as above
    QByteArray outcomeTime;
    QByteArray failure; ///< why there was no HTTP status; may be empty
    int status = 0; ///< of HTTP
    QMap<QByteArray, int> warnings; ///< how many of each kind

private:
    void conclude(Probe outcome, const LogEvent &event);

    const QByteArray m_warningsSince;
};
