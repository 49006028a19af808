#pragma once

#include "output.h"

class QString;
struct Options;

/// The commands, their options and exit statuses, and the help texts.
namespace CommandTable {

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

/// Shows the help of the command in the argument, or of the program.
ExitStatus showHelp(const Options &options);

ExitStatus showVersion(const Options &options);

} // namespace CommandTable
