#pragma once

#include "exitstatus.h"

#include <QLatin1String>

class QString;
struct Options;

/// The commands and options of the program: a new one is a new row.
namespace CommandTable {

/// Which commands an option belongs to; the groups of commands are the single bits.
enum Group : unsigned {
    DaemonGroup = 1,
    LogGroup = 2,
    CheckGroup = 4,
    MonitorGroup = 8,
    JsonGroup = DaemonGroup | CheckGroup,
    SinceGroup = LogGroup | MonitorGroup,
    EveryGroup = JsonGroup | SinceGroup,
};

/// Puts a value into the options, or tells what is wrong with it.
using ReadValue = QString (*)(const QString &value, Options &options);

struct Option
{
    Group group = EveryGroup;
    QLatin1String name;
    QLatin1String value; ///< as the help shows it; empty for a switch
    QLatin1String description;
    ReadValue read = nullptr; ///< null: does not concern the command
};

struct Command
{
    Group group = EveryGroup;
    QLatin1String name;
    QLatin1String argument; ///< as the help shows it, in brackets when it may be left out
    QLatin1String description;
    ReadValue read = nullptr; ///< for the argument; null: it takes none
    ExitStatus (*run)(const Options &options) = nullptr;
};

extern const Option options[8];
extern const Command commands[6];

inline const QLatin1String helpOption{"help"};
inline const QLatin1String versionOption{"version"};
inline const QLatin1String jsonOption{"json"};

extern const QLatin1String exitStatuses; ///< several lines for the help

} // namespace CommandTable
