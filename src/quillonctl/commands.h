#pragma once

#include "output.h"

struct Options;

/// Each command prints what it finds, or reports why it cannot.
namespace Commands {

/// Shows the configuration.
ExitStatus show(const Options &options);

/// Chooses a default server, then shows the configuration. Succeeds only when the
/// daemon reports that this server is in use and, with --probe, the probe gave 200.
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
