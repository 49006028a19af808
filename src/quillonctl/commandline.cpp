#include "commandline.h"

#include "commands.h"
#include "commandtable.h"

#include <QCommandLineParser>
#include <QDateTime>

#include <limits>

namespace {

using CommandTable::Command;
using CommandTable::Option;

constexpr std::chrono::milliseconds kProbeTimeout{15000}; // of which the probe may take 8 s

// QString::toInt() alone accepts blanks, a plus sign and leading zeros.
std::optional<int> decimal(const QString &text)
{
    bool isNumber = false;
    const int number = text.toInt(&isNumber);
    if (!isNumber || number < 0 || QString::number(number) != text)
        return {};
    return number;
}

/// A number with the unit s, m, h or d.
std::optional<qint64> secondsIn(const QString &text)
{
    const auto count = decimal(text.left(text.size() - 1));
    for (const auto &[unit, seconds] : {std::make_pair('s', 1), std::make_pair('m', 60),
                                        std::make_pair('h', 3600), std::make_pair('d', 86400)}) {
        if (count && text.endsWith(QLatin1Char(unit)))
            return qint64(*count) * seconds;
    }
    return {};
}

bool readTimeout(const QString &value, Options &options)
{
    const auto seconds = secondsIn(value);
    const qint64 time = seconds ? 1000 * *seconds : decimal(value).value_or(0);
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

/// Puts a value into the options. Returns false when it is invalid for this option.
bool readOption(char id, const QString &value, Options &options)
{
    switch (id) {
    case 't':
        return readTimeout(value, options);
    case 's':
        return readSince(value, options);
    case 'n':
        options.lines = decimal(value);
        return options.lines.has_value();
    case 'l':
        options.level = LogText::levelNamed(value);
        return options.level.has_value();
    case 'j':
        options.json = true;
        break;
    case 'w':
        options.wait = true;
        break;
    case 'p':
        options.probe = true;
        break;
    case 'f':
        options.follow = true;
        break;
    }
    return true;
}

QStringList namesOf(const Option &option)
{
    return QString(QLatin1String(option.names)).split(QLatin1Char(','));
}

/// Returns what is wrong; else nothing.
QByteArray readOptions(const Command &command, const QCommandLineParser &parser, Options &options)
{
    for (const Option &option : CommandTable::kOptions) {
        const QString name = namesOf(option).constLast();
        const QString value = parser.value(name);
        if (!parser.isSet(name))
            continue;
        if (!CommandTable::takes(command, option))
            return command.name + (" does not take --" + name.toUtf8());
        if (!readOption(option.id, value, options))
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
    if (command.run == CommandTable::showHelp)
        return CommandTable::commandNamed(value) != nullptr;
    if (command.run == Commands::use) {
        const auto index = decimal(value);
        options.serverIndex = index.value_or(0);
        return index.has_value();
    }
    const bool isStandardInput = value == QLatin1String("-");
    return *command.argument != '\0' && !(isStandardInput && options.follow);
}

/// Returns what is wrong; else nothing.
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

CommandLine::Invocation fault(const QByteArray &text, const QByteArray &topic = {})
{
    return {nullptr, {}, text + "; see 'quillonctl help" + topic + '\''};
}

} // namespace

CommandLine::Invocation CommandLine::parse(const QStringList &arguments)
{
    QCommandLineParser parser;
    for (const Option &option : CommandTable::kOptions)
        parser.addOption({namesOf(option), {}, QLatin1String(option.value)});
    if (!parser.parse(arguments))
        return fault(parser.errorText().chopped(1).toUtf8());

    const QString name = parser.positionalArguments().value(0);
    if (parser.isSet(QStringLiteral("version")))
        return {CommandTable::showVersion, {}, {}};
    const Command *command = CommandTable::commandNamed(name);
    Invocation invocation;
    if (parser.isSet(QStringLiteral("help"))) {
        invocation.run = CommandTable::showHelp;
        invocation.options.argument = name;
        return invocation;
    }
    if (command == nullptr)
        return fault(name.isEmpty() ? "no command given" : "unknown command " + name.toUtf8());
    invocation.run = command->run;
    const QByteArray wrong = read(*command, parser, invocation.options);
    return wrong.isEmpty() ? invocation : fault(wrong, QByteArray(" ") + command->name);
}
