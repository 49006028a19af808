#include "commandtable.h"

#include "checkcommand.h"
#include "configcommands.h"
#include "logcommand.h"
#include "monitorcommand.h"
#include "options.h"
#include "optionvalues.h"
#include "statuscommand.h"

namespace {

template<bool Options::*member>
QString turnOn(const QString & /*value*/, Options &options)
{
    options.*member = true;
    return {};
}

} // namespace

const CommandTable::Option CommandTable::options[] = {
    {JsonGroup,
     jsonOption,
     {},
     QLatin1String("Print one JSON document, also for an error."),
     turnOn<&Options::json>},
    {DaemonGroup, QLatin1String("timeout"), QLatin1String("MS"),
     QLatin1String("Give up after MS milliseconds; 3000 if not given."), OptionValues::readTimeout},
    {DaemonGroup,
     QLatin1String("wait"),
     {},
     QLatin1String("Keep trying until a daemon answers or the time is up."),
     turnOn<&Options::wait>},
    {LogGroup,
     QLatin1String("follow"),
     {},
     QLatin1String("Go on with what is added, and with a new log after this one is deleted."),
     turnOn<&Options::follow>},
    {SinceGroup, QLatin1String("since"), QLatin1String("WHEN"),
     QLatin1String("Only messages since WHEN: yyyy-MM-dd, \"yyyy-MM-dd hh:mm[:ss]\", or a span "
                   "back from now such as 90s, 15m, 2h or 7d."),
     OptionValues::readSince},
    {LogGroup, QLatin1String("level"), QLatin1String("LEVEL"),
     QLatin1String("Only messages of at least LEVEL: debug, info, warning, critical or fatal."),
     OptionValues::readLevel},
    {EveryGroup, helpOption, {}, QLatin1String("Show this help, or that of the command."), nullptr},
    {EveryGroup, versionOption, {}, QLatin1String("Show the version."), nullptr},
};

const CommandTable::Command CommandTable::commands[] = {
    {DaemonGroup,
     QLatin1String("show"),
     {},
     QLatin1String("Show the servers that the daemon knows and the one in use."),
     nullptr,
     ConfigCommands::show},
    {DaemonGroup, QLatin1String("use"), QLatin1String("INDEX"),
     QLatin1String("Choose the default server with this index, then show what the daemon has."),
     OptionValues::readIndex, ConfigCommands::use},
    {DaemonGroup,
     QLatin1String("status"),
     {},
     QLatin1String("Tell whether the daemon answers and what the last probe of its server gave."),
     nullptr,
     StatusCommand::run},
    {CheckGroup, QLatin1String("check"), QLatin1String("[FILE]"),
     QLatin1String("Tell what the daemon would make of its configuration file, or of FILE."),
     OptionValues::readConfigurationFile, CheckCommand::run},
    {MonitorGroup,
     QLatin1String("monitor"),
     {},
     QLatin1String("Show probes, their outcomes, choices and clients as they come."),
     nullptr,
     MonitorCommand::run},
    {LogGroup, QLatin1String("log"), QLatin1String("[FILE|-]"),
     QLatin1String("Show the log, a FILE or the standard input with scrambled texts in clear."),
     OptionValues::readFile, LogCommand::run},
};

const QLatin1String CommandTable::exitStatuses{
    "Exit status:\n"
    "  0  done\n"
    "  1  refused by the daemon, or what it sent is no answer;\n"
    "     a file cannot be read, or the output not be written;\n"
    "     check: something is wrong with the file;\n"
    "     status: the last probe did not give 200, or nothing tells\n"
    "  2  wrong usage\n"
    "  3  no daemon reachable: no socket, refused, or no permission\n"
    "  4  no answer in time: the daemon serves one program at a time;\n"
    "     a choice may still take effect\n"};
