#pragma once

#include "logevents.h"
#include "logview.h"

/// Shows probes, choices and clients, a line for each.
class MonitorView : public LogView
{
public:
    /// @param since in the log's own time format; earlier events are not shown
    MonitorView(bool isColoured, QByteArray since);

    QByteArray add(const QByteArray &bytes) override;
    QByteArray rest() override;

private:
    QByteArray lineOf(const LogEvent &event) const;

    const bool m_isColoured;
    const QByteArray m_since;
    LogEvents m_events;
};
