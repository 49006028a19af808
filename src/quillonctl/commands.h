#pragma once

#include "output.h"

struct Options;

/// The commands that talk with the daemon or read its files. Each prints what it
/// finds, or reports why it cannot.
namespace Commands {

/// Shows the configuration.
ExitStatus show(const Options &options);

/// Chooses a default server, then shows the configuration. Succeeds only when
/// the daemon reports the server as the one in use; when it waits for the probe,
/// only when that gives 200.
ExitStatus use(const Options &options);

/// Shows whether the daemon answers, which server it uses, and what its log has
/// about the last probe and warnings. Succeeds only when the daemon answers and
/// its last probe gave 200.
ExitStatus status(const Options &options);

/// Shows what the daemon would make of a configuration file, and succeeds when
/// nothing is wrong with it. For the daemon's own file it is a fault when a
/// daemon answers that has loaded something else.
ExitStatus check(const Options &options);

/// Prints what the daemon does, one line for each event, until the reader closes
/// the pipe, which is success.
ExitStatus monitor(const Options &options);

/// Prints a log with its scrambled texts in clear. When it follows the log it
/// ends like monitor().
ExitStatus log(const Options &options);

} // namespace Commands
