#include "commands.h"

#include <QCommandLineParser>
#include <QDateTime>

#include <algorithm>
#include <limits>
#include <utility>

namespace {

constexpr std::chrono::milliseconds kProbeTimeout{15000}; // the probe alone may take 8 s

struct Command
{
    const char *name;
    const char *argument; ///< in brackets if it is optional; empty if there is none
    const char *options; ///< the long names, separated by blanks
    const char *description;
    ExitStatus (*run)(const Options &options);
};

struct Option
{
    const char *names = ""; ///< separated by a comma; the long one is last
    const char *value = ""; ///< as the help shows it; empty for a switch
    const char *description = "";
    bool Options::*flag = nullptr; ///< what a switch turns on
    bool (*read)(const QString &value, Options &options) = nullptr; ///< false for an invalid value
};

// QString::toInt() alone accepts blanks, a plus sign and leading zeros.
std::optional<int> decimal(const QString &text)
{
    bool isNumber = false;
    const int number = text.toInt(&isNumber);
    if (!isNumber || number < 0 || QString::number(number) != text)
        return {};
    return number;
}

/// The milliseconds in a number with a unit.
std::optional<qint64> durationIn(const QString &text)
{
    constexpr std::pair<const char *, qint64> units[] = {
        {"ms", 1}, {"s", 1000}, {"m", 60000}, {"h", 3600000}, {"d", 86400000}};
    for (const auto &[unit, milliseconds] : units) {
        const auto number = decimal(text.chopped(std::min(text.size(), int(qstrlen(unit)))));
        if (number && text.endsWith(QLatin1String(unit)))
            return *number * milliseconds;
    }
    return {};
}

bool readTimeout(const QString &value, Options &options)
{
    const bool hasUnit = !decimal(value);
    const qint64 time = durationIn(hasUnit ? value : value + QLatin1Char('s')).value_or(0);
    options.timeout = std::chrono::milliseconds(time);
    return time > 0 && time <= std::numeric_limits<int>::max();
}

bool readSince(const QString &value, Options &options)
{
    const QDateTime now = QDateTime::currentDateTime();
    const auto age = durationIn(value.startsWith(QLatin1Char('-')) ? value.mid(1) : value);
    QDateTime time = QDateTime::fromString(value, Qt::ISODate);
    if (age)
        time = now.addMSecs(-*age);
    else if (value == QLatin1String("today") || value == QLatin1String("yesterday"))
        time = QDateTime(now.date().addDays(value == QLatin1String("today") ? 0 : -1), QTime(0, 0));
    options.since = LogText::timeText(time);
    return time.isValid();
}

bool readLines(const QString &value, Options &options)
{
    options.lines = decimal(value);
    return options.lines.has_value();
}

bool readLevel(const QString &value, Options &options)
{
    options.level = LogText::levelNamed(value);
    return options.level.has_value();
}

const Option kOptions[] = {
    {"json", "", "Print JSON, also for an error.", &Options::json},
    {"timeout", "TIME",
     "Give up after TIME: 5, 500ms or 2m, for example. The default is 3s, or 15s to wait for a "
     "probe.",
     nullptr, readTimeout},
    {"wait", "", "Keep trying until a daemon answers; with status, until no probe is pending.",
     &Options::wait},
    {"probe", "", "Wait for the probe of the server; succeed only with status 200.",
     &Options::probe},
    {"f,follow", "", "Continue with new lines, even after the log is deleted and created again.",
     &Options::follow},
    {"n,lines", "N", "Begin with the last N lines.", nullptr, readLines},
    {"since", "WHEN",
     "Print only what happened since WHEN: yyyy-MM-dd, \"yyyy-MM-dd hh:mm\", an RFC 3339 time, "
     "today, yesterday, or an age such as 90s, 15m, 2h or 7d.",
     nullptr, readSince},
    {"level", "LEVEL", "Print only messages of this level or above: debug, info, warn, err, fatal.",
     nullptr, readLevel},
};

ExitStatus version(const Options & /*options*/)
{
    Output::print("quillonctl " QUILLON_VERSION "\n");
    return ExitStatus::Done;
}

ExitStatus help(const Options &options);

const Command kCommands[] = {
    {"show", "", "json timeout wait", "Show the default servers and the server in use.",
     Commands::show},
    {"use", "[INDEX|ADDRESS]", "json timeout wait probe",
     "Choose a default server, or probe the one in use again.", Commands::use},
    {"status", "", "json timeout wait",
     "Show whether the daemon answers and how its last probe ended.", Commands::status},
    {"check", "[FILE|-]", "json", "Check a configuration file; without FILE, the daemon's.",
     Commands::check},
    {"monitor", "", "json since", "Print probes, choices and clients as the daemon logs them.",
     Commands::monitor},
    {"log", "[FILE|-]", "follow lines since level",
     "Print a log in clear; without FILE, the daemon's.", Commands::log},
    {"help", "[COMMAND]", "", "Show the help of the program or of a command.", help},
    {"version", "", "", "Show the version.", version},
};

/// Null for an unknown command.
const Command *commandNamed(const QString &name)
{
    for (const Command &command : kCommands) {
        if (name == QLatin1String(command.name))
            return &command;
    }
    return nullptr;
}

void addOptions(QCommandLineParser &parser, const Command &command)
{
    const QByteArrayList own = QByteArray(command.options).split(' ');
    for (const Option &option : kOptions) {
        const QStringList names = QString::fromLatin1(option.names).split(QLatin1Char(','));
        if (own.contains(names.constLast().toLatin1()))
            parser.addOption({names, QString::fromLatin1(option.description),
                              QString::fromLatin1(option.value)});
    }
    parser.addOption(
        {{QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Show this help.")});
    parser.addOption({QStringLiteral("version"), QStringLiteral("Show the version.")});
}

QByteArray programHelp()
{
    QByteArray text = "Usage: quillonctl [COMMAND] [OPTION]...\n\nCommands:\n";
    for (const Command &command : kCommands) {
        const QByteArray syntax = QByteArray(command.name) + ' ' + command.argument;
        text += "  " + syntax.leftJustified(22) + command.description + '\n';
    }
    return text
           + "\nWithout COMMAND: status. Run 'quillonctl help COMMAND' for its options, and\n"
             "'man quillonctl' for the exit statuses.\n";
}

QByteArray helpOf(const Command &command)
{
    QCommandLineParser parser;
    addOptions(parser, command);
    // The first paragraph of Qt's text names the program, but not the command.
    const QString options = parser.helpText().section(QStringLiteral("\n\n"), 1);
    const QByteArray syntax = QByteArray(command.name) + ' ' + command.argument;
    return "Usage: quillonctl " + syntax.trimmed() + " [OPTION]...\n" + command.description + "\n\n"
           + options.toUtf8() + "\nRun 'man quillonctl' for the exit statuses.\n";
}

ExitStatus help(const Options &options)
{
    const Command *topic = commandNamed(options.argument);
    Output::print(topic == nullptr ? programHelp() : helpOf(*topic));
    return ExitStatus::Done;
}

bool takesArgument(const Command &command, const Options &options)
{
    if (command.run == help)
        return commandNamed(options.argument) != nullptr;
    const bool followsInput = options.follow && options.argument == QLatin1String("-");
    return *command.argument != '\0' && !options.argument.isEmpty() && !followsInput;
}

/// Returns the fault, in words; empty if there is none.
QByteArray read(const Command &command, const QCommandLineParser &parser, Options &options)
{
    for (const Option &option : kOptions) {
        const QString name = QString::fromLatin1(option.names).section(QLatin1Char(','), -1);
        const QString value = parser.value(name);
        if (!parser.isSet(name)) // also when the command does not have it
            continue;
        if (option.flag != nullptr)
            options.*option.flag = true;
        else if (!option.read(value, options))
            return "--" + name.toUtf8() + " does not take '" + value.toUtf8() + '\'';
    }
    const bool awaitsProbe = options.probe || (options.wait && command.run == Commands::status);
    if (awaitsProbe && !parser.isSet(QStringLiteral("timeout")))
        options.timeout = kProbeTimeout;

    const QStringList arguments = parser.positionalArguments();
    if (arguments.isEmpty() && command.run == Commands::use && !options.probe)
        return "use needs the INDEX or the ADDRESS of a server, or --probe";
    options.argument = arguments.value(0);
    options.index = decimal(options.argument);
    if (arguments.isEmpty() || (arguments.size() == 1 && takesArgument(command, options)))
        return {};
    return command.name + (" does not take '" + arguments.constLast().toUtf8()) + '\'';
}

} // namespace

ExitStatus Commands::run(QStringList arguments)
{
    const bool isJson = arguments.contains(QStringLiteral("--json"));
    const auto isCommand = [](const QString &name) { return commandNamed(name) != nullptr; };
    const auto found = std::find_if(arguments.begin() + 1, arguments.end(), isCommand);
    const bool isNamed = found != arguments.end();
    const Command &command = *commandNamed(isNamed ? *found : QStringLiteral("status"));
    if (isNamed)
        arguments.erase(found);

    QCommandLineParser parser;
    addOptions(parser, command);
    Options options;
    QByteArray fault;
    if (!parser.parse(arguments))
        fault = parser.errorText().chopped(1).toUtf8();
    else if (parser.isSet(QStringLiteral("version")))
        return version(options);
    else if (parser.isSet(QStringLiteral("help")))
        options.argument = isNamed ? QLatin1String(command.name) : QLatin1String();
    else if (!isNamed && !parser.positionalArguments().isEmpty())
        fault = "unknown command " + parser.positionalArguments().constFirst().toUtf8();
    else
        fault = read(command, parser, options);
    if (fault.isEmpty())
        return parser.isSet(QStringLiteral("help")) ? help(options) : command.run(options);
    const QByteArray topic = isNamed ? QByteArray(" ") + command.name : QByteArray();
    return Output::conclude(
        {ExitStatus::WrongUsage, "usage", fault + "; see 'quillonctl help" + topic + '\''}, isJson);
}
