#pragma once

#include "exitstatus.h"
#include "options.h"

#include <QStringList>

/// What the arguments of the program ask for.
namespace CommandLine {

struct Invocation
{
    /// The command to run with the options; null when there is only text to be shown.
    ExitStatus (*run)(const Options &) = nullptr;
    Options options;
    QString text; ///< help or version
    QString fault; ///< what is wrong with the arguments, in one line; else empty
};

/// Reads the arguments, the program's name first. Needs the application object,
/// whose name and version stand in the texts.
Invocation parse(const QStringList &arguments);

/// True when a program waits for JSON, however wrong the arguments are.
bool asksForJson(const QStringList &arguments);

} // namespace CommandLine
