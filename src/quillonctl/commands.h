#pragma once

#include "logtext.h"
#include "output.h"

#include <QString>

#include <chrono>
#include <optional>

/// The checked values of the command line. Each command reads its own members.
struct Options
{
    std::optional<QString> argument; ///< a FILE ("-" is standard input), server or command
    bool json = false;

    std::chrono::milliseconds timeout{3000};
    bool wait = false;
    bool probe = false;

    bool follow = false;
    std::optional<int> lines; ///< how many of the last lines; nothing means all
    LogLine::Level level = LogLine::Level::Debug;
    QByteArray since; ///< in the log's time format; empty means no limit
};

/// Each command prints what it finds, or reports why it cannot.
namespace Commands {

ExitStatus show(const Options &options);

/// Chooses the default server with this index or address, or the one in use again. Then shows the
/// configuration. Succeeds only when the daemon reports that this server is in use and, with
/// --probe, the probe gave 200.
ExitStatus use(const Options &options);

/// Shows the daemon's state. Succeeds only when it answers and its last probe gave 200.
ExitStatus status(const Options &options);

/// Checks a configuration file. Succeeds when it has no faults. The daemon's own file
/// must also match what the running daemon, if any, has loaded.
ExitStatus check(const Options &options);

/// Prints what the daemon does until the reader closes the pipe, which is success.
ExitStatus monitor(const Options &options);

/// Prints a log with its scrambled texts in clear. With --follow, ends like monitor().
ExitStatus log(const Options &options);

} // namespace Commands
