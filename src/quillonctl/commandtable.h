#pragma once

#include "output.h"

class QString;
struct Options;

/// The commands, their options and exit statuses, and the help made from them.
namespace CommandTable {

struct Command
{
    const char *name;
    const char *argument; ///< after a blank; in brackets when it is optional
    const char *options; ///< the IDs of those that it takes
    const char *description;
    ExitStatus (*run)(const Options &options);
};

struct Option
{
    char id;
    const char *names; ///< separated by a comma; the long one is last
    const char *value; ///< as the help shows it; empty for a switch
    const char *description;
};

extern const Command kCommands[8];
extern const Option kOptions[10];

/// Null for an unknown command.
const Command *commandNamed(const QString &name);

bool takes(const Command &command, const Option &option);

/// Shows the help of the command that is the argument, or that of the program.
ExitStatus showHelp(const Options &options);

ExitStatus showVersion(const Options &options);

} // namespace CommandTable
