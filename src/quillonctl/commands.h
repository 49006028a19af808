#pragma once

#include "logtext.h"
#include "output.h"

#include <QStringList>

#include <chrono>
#include <optional>

/// The checked values of the command line. Each command reads its own members.
struct Options
{
    QString argument; ///< a FILE ("-" is standard input), server or command; empty without one
    std::optional<int> index; ///< of a server, if the argument is a decimal number
    bool json = false;

    std::chrono::milliseconds timeout{3000};
    bool wait = false;
    bool probe = false;

    bool follow = false;
    std::optional<int> lines; ///< how many of the last lines; nothing means all
    std::optional<LogLine::Level> level; ///< and above; nothing means all
    QByteArray since; ///< in the log's time format; empty means no limit
};

/// Each command prints what it finds or reports why it cannot; see quillonctl(1).
namespace Commands {

/// Runs the command in the arguments, which begin with the program's name; status without one.
ExitStatus run(QStringList arguments);

ExitStatus show(const Options &options);
ExitStatus use(const Options &options);
ExitStatus status(const Options &options);
ExitStatus check(const Options &options);
ExitStatus monitor(const Options &options);
ExitStatus log(const Options &options);

} // namespace Commands
