#pragma once

#include "exitstatus.h"

struct Options;

namespace MonitorCommand {

/// Prints what the daemon does as it does it, and goes on for ever: only a
/// reader who has left or a failure ends it.
ExitStatus run(const Options &options);

} // namespace MonitorCommand
