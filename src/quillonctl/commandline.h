#pragma once

#include "logtext.h"
#include "output.h"

#include <QStringList>

#include <chrono>
#include <optional>

/// The checked values of the command line. Each command reads its own members.
struct Options
{
    std::optional<QString> argument; ///< the FILE or COMMAND; "-" is standard input
    int serverIndex = 0;
    bool json = false;

    std::chrono::milliseconds timeout{3000};
    bool wait = false;
    bool probe = false;

    bool follow = false;
    std::optional<int> lines; ///< how many of the last lines; nothing means all
    std::optional<LogText::Level> level; ///< nothing means all
    QByteArray since; ///< in the log's time format; empty means no limit
};

/// Reads the arguments of the program.
namespace CommandLine {

struct Invocation
{
    ExitStatus (*run)(const Options &) = nullptr; ///< null when the arguments are wrong
    Options options;
    QByteArray fault; ///< what is wrong with the arguments, in one line; empty if nothing
};

/// Parses the arguments, beginning with the program's name. Help and version are commands.
Invocation parse(const QStringList &arguments);

} // namespace CommandLine
