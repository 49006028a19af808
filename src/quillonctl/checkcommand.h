#pragma once

#include "exitstatus.h"

struct Options;

namespace CheckCommand {

/// Tells what the daemon would make of a configuration file. Done only when
/// there is nothing to complain of.
ExitStatus run(const Options &options);

} // namespace CheckCommand
