#pragma once

#include "output.h"

class QString;
class QStringList;
struct Options;

/// The commands and options of the program.
namespace CommandLine {

struct Command
{
    const char *name;
    const char *argument; ///< begins with a blank; in brackets if optional
    const char *options; ///< the IDs of its options
    const char *description;
    ExitStatus (*run)(const Options &options);
};

struct Option
{
    char id = '\0';
    const char *names = ""; ///< separated by a comma; the long one is last
    const char *value = ""; ///< as the help shows it; empty for a switch
    const char *description = "";
    bool Options::*flag = nullptr; ///< what a switch turns on
    /// Returns false for an invalid value.
    bool (*read)(const QString &value, Options &options) = nullptr;
};

extern const Command kCommands[8];
extern const Option kOptions[10];

/// Null for an unknown command.
const Command *commandNamed(const QString &name);

/// Runs the command in the arguments, which begin with the program's name.
ExitStatus run(const QStringList &arguments);

} // namespace CommandLine
