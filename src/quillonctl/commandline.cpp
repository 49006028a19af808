#include "commandline.h"

#include "commands.h"

#include <QCommandLineParser>
#include <QDateTime>

#include <array>
#include <cstring>
#include <limits>

namespace {

using CommandLine::Command;
using CommandLine::Option;

constexpr std::chrono::milliseconds kProbeTimeout{15000}; // the probe alone may take 8 s

// QString::toInt() alone accepts blanks, a plus sign and leading zeros.
std::optional<int> decimal(const QString &text)
{
    bool isNumber = false;
    const int number = text.toInt(&isNumber);
    if (!isNumber || number < 0 || QString::number(number) != text)
        return {};
    return number;
}

std::optional<qint64> secondsIn(const QString &text)
{
    constexpr std::array<qint64, 4> seconds{1, 60, 3600, 86400};
    const int unit = QStringLiteral("smhd").indexOf(text.rightRef(1));
    const auto count = decimal(text.left(text.size() - 1));
    if (!count || unit < 0)
        return {};
    return *count * seconds.at(static_cast<size_t>(unit));
}

bool readTimeout(const QString &value, Options &options)
{
    const bool isShort = value.endsWith(QLatin1String("ms"));
    const auto number = decimal(isShort ? value.chopped(2) : value);
    const qint64 seconds = number ? *number : secondsIn(value).value_or(0);
    const qint64 time = isShort ? number.value_or(0) : 1000 * seconds;
    options.timeout = std::chrono::milliseconds(time);
    return time > 0 && time <= std::numeric_limits<int>::max();
}

bool readSince(const QString &value, Options &options)
{
    const auto age = secondsIn(value);
    const QDateTime time = age ? QDateTime::currentDateTime().addSecs(-*age)
                               : QDateTime::fromString(value, Qt::ISODate).toLocalTime();
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

QStringList namesOf(const Option &option)
{
    return QString(QLatin1String(option.names)).split(QLatin1Char(','));
}

/// Returns the fault, in words; empty if there is none.
QByteArray readOptions(const Command &command, const QCommandLineParser &parser, Options &options)
{
    for (const Option &option : CommandLine::kOptions) {
        const QString name = namesOf(option).constLast();
        const QString value = parser.value(name);
        if (!parser.isSet(name))
            continue;
        if (std::strchr(command.options, option.id) == nullptr)
            return command.name + (" does not take --" + name.toUtf8());
        if (option.flag != nullptr)
            options.*option.flag = true;
        else if (!option.read(value, options))
            return "--" + name.toUtf8() + " does not take '" + value.toUtf8() + '\'';
    }
    if (options.probe && !parser.isSet(QStringLiteral("timeout")))
        options.timeout = kProbeTimeout;
    return {};
}

/// Returns false when the command does not take this argument.
bool readArgument(const Command &command, const QString &value, Options &options)
{
    options.argument = value;
    if (command.run == Commands::help)
        return CommandLine::commandNamed(value) != nullptr;
    if (command.run == Commands::use) {
        const auto index = decimal(value);
        options.serverIndex = index.value_or(0);
        return index.has_value();
    }
    const bool isStandardInput = value == QLatin1String("-");
    return *command.argument != '\0' && !(isStandardInput && options.follow);
}

QByteArray read(const Command &command, const QCommandLineParser &parser, Options &options)
{
    QByteArray wrong = readOptions(command, parser, options);
    const QStringList arguments = parser.positionalArguments().mid(1);
    if (!wrong.isEmpty())
        return wrong;
    if (arguments.isEmpty())
        return command.run == Commands::use ? "use needs the INDEX of a server" : "";
    if (arguments.size() == 1 && readArgument(command, arguments.constFirst(), options))
        return {};
    return command.name + (" does not take '" + arguments.constLast().toUtf8()) + '\'';
}

} // namespace

const Command CommandLine::kCommands[] = {
    {"show", "", "jtwhv", "Show the default servers and the server in use.", Commands::show},
    {"use", " INDEX", "jtwphv", "Choose the default server with this index.", Commands::use},
    {"status", "", "jtwhv", "Show whether the daemon answers and how its last probe ended.",
     Commands::status},
    {"check", " [FILE|-]", "jhv", "Check a configuration file; without FILE, the daemon's.",
     Commands::check},
    {"monitor", "", "jshv", "Print probes, choices and clients as the daemon logs them.",
     Commands::monitor},
    {"log", " [FILE|-]", "fnslhv", "Print a log in clear; without FILE, the daemon's.",
     Commands::log},
    {"help", " [COMMAND]", "hv", "Show the help of the program or of a command.", Commands::help},
    {"version", "", "hv", "Show the version.", Commands::version},
};

const Option CommandLine::kOptions[] = {
    {'j', "json", "", "Print JSON, also for an error: one document, or one object per event.",
     &Options::json},
    {'t', "timeout", "TIME",
     "Give up after TIME: a number of seconds, or a number with ms, s, m, h or d. The default is "
     "3s, or 15s to wait for a probe.",
     nullptr, readTimeout},
    {'w', "wait", "", "Keep trying until a daemon answers or the time is up.", &Options::wait},
    {'p', "probe", "", "Wait for the probe of the chosen server; succeed only with status 200.",
     &Options::probe},
    {'f', "f,follow", "",
     "Continue with new lines, even after the log is deleted and created again.", &Options::follow},
    {'n', "n,lines", "N", "Begin with the last N lines.", nullptr, readLines},
    {'s', "since", "WHEN",
     "Print only what happened since WHEN: yyyy-MM-dd, \"yyyy-MM-dd hh:mm[:ss]\", an RFC 3339 "
     "time, or an age such as 90s, 15m, 2h or 7d.",
     nullptr, readSince},
    {'l', "level", "LEVEL",
     "Print only messages of at least LEVEL: debug, info, warning or warn, critical or error, "
     "fatal.",
     nullptr, readLevel},
    {'h', "h,help", "", "Show this help."},
    {'v', "version", "", "Show the version."},
};

const Command *CommandLine::commandNamed(const QString &name)
{
    for (const Command &command : kCommands) {
        if (name == QLatin1String(command.name))
            return &command;
    }
    return nullptr;
}

ExitStatus CommandLine::run(const QStringList &arguments)
{
    QCommandLineParser parser;
    for (const Option &option : kOptions)
        parser.addOption({namesOf(option), {}, QLatin1String(option.value)});
    const bool isParsed = parser.parse(arguments);
    const QString name = parser.positionalArguments().value(0);
    const Command *command = commandNamed(name);
    Options options;
    QByteArray fault;
    if (!isParsed) {
        fault = parser.errorText().chopped(1).toUtf8();
    } else if (parser.isSet(QStringLiteral("version"))) {
        return Commands::version(options);
    } else if (parser.isSet(QStringLiteral("help"))) {
        options.argument = name;
        return Commands::help(options);
    } else if (command == nullptr) {
        fault = name.isEmpty() ? "no command given" : "unknown command " + name.toUtf8();
    } else {
        fault = read(*command, parser, options);
    }
    if (fault.isEmpty())
        return command->run(options);
    const QByteArray topic = command == nullptr ? QByteArray() : QByteArray(" ") + command->name;
    const Verdict usage{ExitStatus::WrongUsage, "usage",
                        fault + "; see 'quillonctl help" + topic + '\''};
    return Output::conclude(usage, arguments.contains(QStringLiteral("--json")));
}
