#pragma once

#include "configuration.h"
#include "daemonclient.h"
#include "exitstatus.h"
#include "logsummary.h"

#include <QString>

#include <optional>

/// What one look at the daemon and its log has found, for a person and for a program.
struct StatusReport
{
    Reply reply;
    std::optional<Configuration> configuration;
    LogSummary log;
    QString logFault; ///< why the log tells nothing, or nothing that counts; else empty

    /// When the daemon started, in the log's time format; empty when nothing tells.
    QByteArray startTime() const;

    /// Done only when the daemon answers and its last probe gave 200.
    ExitStatus verdict() const;

    /// Several lines in UTF-8; safe to show on a terminal.
    QByteArray toText() const;

    /// One line with one JSON document.
    QByteArray toJson() const;
};
