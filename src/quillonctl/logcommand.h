#pragma once

#include "exitstatus.h"

struct Options;

namespace LogCommand {

/// Prints the log in clear, and goes on for ever when it is to follow; then only
/// a reader who has left or a failure ends it.
ExitStatus run(const Options &options);

} // namespace LogCommand
