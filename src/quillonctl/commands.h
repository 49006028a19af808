#pragma once

#include "output.h"

struct Options;

/// Each command prints what it finds, or reports why it cannot.
namespace Commands {

/// Shows the configuration.
ExitStatus show(const Options &options);

/// Chooses a default server, then shows the configuration. Succeeds only when
/// the daemon reports the server as the one in use; when it waits for the probe,
/// only when that gives 200.
ExitStatus use(const Options &options);

/// Shows how the daemon is. Succeeds only when it answers and its last probe gave 200.
ExitStatus status(const Options &options);

/// Shows what the daemon would make of a configuration file. Succeeds when nothing
/// is wrong with it, and no daemon answers that has not loaded its own file like this.
ExitStatus check(const Options &options);

/// Prints what the daemon does until the reader closes the pipe, which is success.
ExitStatus monitor(const Options &options);

/// Prints a log with its scrambled texts in clear. Following it ends like monitor().
ExitStatus log(const Options &options);

} // namespace Commands
