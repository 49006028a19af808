#include "commandline.h"

#include "commandtable.h"
#include "optionvalues.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <algorithm>

namespace {

using CommandTable::Command;
using CommandTable::Option;

/// " [show, use]"; empty for an option of all commands.
QString commandsWith(const Option &option)
{
    QStringList names;
    for (const Command &command : CommandTable::commands) {
        if ((command.group & option.group) != 0)
            names.append(command.name);
    }
    return option.group == CommandTable::EveryGroup
               ? QString()
               : QStringLiteral(" [%1]").arg(names.join(QLatin1String(", ")));
}

void addOptions(QCommandLineParser &parser, CommandTable::Group groups)
{
    for (const Option &option : CommandTable::options) {
        if ((option.group & groups) == 0)
            continue;
        QStringList names{option.name};
        if (option.name == CommandTable::helpOption)
            names.prepend(QStringLiteral("h"));
        const bool isGeneral = groups == CommandTable::EveryGroup;
        const QString suffix = isGeneral ? commandsWith(option) : QString();
        parser.addOption({names, option.description + suffix, option.value});
    }
}

const Command *commandNamed(const QString &name)
{
    const auto *const found =
        std::find_if(std::begin(CommandTable::commands), std::end(CommandTable::commands),
                     [&name](const Command &command) { return name == command.name; });
    return found == std::end(CommandTable::commands) ? nullptr : found;
}

CommandLine::Invocation fault(const QString &text)
{
    CommandLine::Invocation invocation;
    invocation.fault = text + QStringLiteral("; see 'quillonctl --help'");
    return invocation;
}

/// The parser's sentence, which it has after a failure, as a part of ours.
QString sentenceOf(const QCommandLineParser &parser)
{
    QString text = parser.errorText();
    text[0] = text.at(0).toLower();
    if (text.endsWith(QLatin1Char('.')))
        text.chop(1);
    return text;
}

CommandLine::Invocation shown(const QCommandLineParser &parser)
{
    CommandLine::Invocation invocation;
    invocation.text = parser.isSet(CommandTable::helpOption)
                          ? parser.helpText() + QLatin1Char('\n') + CommandTable::exitStatuses
                          : QStringLiteral("%1 %2\n").arg(QCoreApplication::applicationName(),
                                                          QCoreApplication::applicationVersion());
    return invocation;
}

bool isShown(const QCommandLineParser &parser)
{
    return parser.isSet(CommandTable::helpOption) || parser.isSet(CommandTable::versionOption);
}

QString listOfCommands()
{
    constexpr int callWidth = -14; // negative: to the left
    QString list = QStringLiteral("Shows and changes what the quillon daemon does.\n\nCommands:");
    for (const Command &command : CommandTable::commands) {
        const QString call = command.name + QLatin1Char(' ') + command.argument;
        list += QStringLiteral("\n  %1%2").arg(call, callWidth).arg(command.description);
    }
    return list;
}

/// Empty, or what is wrong.
QString readOptions(const QCommandLineParser &parser, Options &options)
{
    for (const Option &option : CommandTable::options) {
        if (option.read == nullptr || !parser.isSet(option.name))
            continue;
        QString wrong = option.read(parser.value(option.name), options);
        if (!wrong.isEmpty())
            return wrong;
    }
    return {};
}

/// Empty, or what is wrong.
QString readArgument(const Command &command, const QStringList &arguments, Options &options)
{
    const bool isNeeded = !command.argument.isEmpty() && *command.argument.begin() != '[';
    if (arguments.isEmpty())
        return isNeeded
                   ? QStringLiteral("%1 needs its argument %2").arg(command.name, command.argument)
                   : QString();
    if (command.read == nullptr || arguments.size() > 1)
        return QStringLiteral("%1 does not take the argument '%2'")
            .arg(command.name, arguments.constLast());
    return command.read(arguments.constFirst(), options);
}

CommandLine::Invocation parseCommand(const Command &command, const QStringList &arguments)
{
    QCommandLineParser parser;
    addOptions(parser, command.group);
    parser.addPositionalArgument(command.name, command.description,
                                 command.name + QLatin1Char(' ') + command.argument);
    if (!parser.parse(arguments))
        return fault(QStringLiteral("%1: %2").arg(command.name, sentenceOf(parser)));
    if (isShown(parser))
        return shown(parser);

    CommandLine::Invocation invocation;
    QString wrong = readOptions(parser, invocation.options);
    if (wrong.isEmpty())
        wrong = readArgument(command, parser.positionalArguments().mid(1), invocation.options);
    if (wrong.isEmpty())
        wrong = OptionValues::contradictionIn(invocation.options);
    if (!wrong.isEmpty())
        return fault(wrong);
    invocation.run = command.run;
    return invocation;
}

} // namespace

CommandLine::Invocation CommandLine::parse(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(listOfCommands());
    addOptions(parser, CommandTable::EveryGroup);
    parser.addPositionalArgument(QStringLiteral("command"), QStringLiteral("One of the above."));
    const bool isUnderstood = parser.parse(arguments);

    const QString name = parser.positionalArguments().value(0);
    if (const Command *command = commandNamed(name))
        return parseCommand(*command, arguments);
    if (!parser.positionalArguments().isEmpty())
        return fault(QStringLiteral("unknown command '%1'").arg(name));
    if (!isUnderstood)
        return fault(sentenceOf(parser));
    return isShown(parser) ? shown(parser) : fault(QStringLiteral("no command given"));
}

bool CommandLine::asksForJson(const QStringList &arguments)
{
    return arguments.contains(QStringLiteral("--") + CommandTable::jsonOption);
}
