#pragma once

/// What the process tells a script when it ends; the help text lists the same.
enum class ExitStatus {
    Done = 0,
    Refused = 1, ///< by the daemon, or a file or the output fails
    WrongUsage = 2,
    NoDaemon = 3,
    NoAnswer = 4,
};
