#pragma once

#include "exitstatus.h"

struct Options;

namespace StatusCommand {

/// Tells at one look whether a daemon answers, which server it uses, and what
/// its log tells of the last probe and of warnings. Done only when the daemon
/// answers and its last probe gave 200.
ExitStatus run(const Options &options);

} // namespace StatusCommand
