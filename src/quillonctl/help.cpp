#include "commands.h"

#include "commandline.h"

#include <algorithm>
#include <cstring>

#include <sys/ioctl.h>
#include <unistd.h>

namespace {

using CommandLine::Command;
using CommandLine::Option;

constexpr int kUsualWidth = 80;
constexpr int kMinWidth = 40;
constexpr int kIndent = 18;

struct Exit
{
    const char *status;
    const char *commands; ///< empty for all
    const char *meaning;
};

const Exit kExits[] = {
    {"  0", "", "success"},
    {"  0", "status", "the daemon answers and its last probe gave 200"},
    {"  0", "check", "nothing is wrong with the file"},
    {"  1", "", "the output cannot be written"},
    {"  1", "use check monitor log", "a file cannot be read"},
    {"  1", "show use status", "the daemon refused, or its answer is invalid"},
    {"  1", "status", "the last probe failed"},
    {"  1", "check", "something is wrong with the file"},
    {"  2", "", "wrong usage"},
    {"  3", "show use status", "no daemon reachable: no socket, refused, or no permission"},
    {"  4", "show use status", "no answer in time, or the connection was closed"},
    {"  4", "use", "the choice may still take effect"},
    {"  5", "use status", "the outcome of the probe is unknown"},
    {"  6", "use", "the server was chosen, but its probe failed"},
};

/// A row of two columns, the right one wrapped.
// NOLINTNEXTLINE(bugprone-easily-swappable-parameters): in their order
QByteArray row(const QByteArray &left, const QByteArray &right, int indent)
{
    winsize size = {};
    const bool isTerminal = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    const int width = isTerminal ? std::max<int>(size.ws_col, kMinWidth) : kUsualWidth;
    QByteArray text = left.leftJustified(indent);
    int column = indent;
    const QByteArrayList words = right.split(' ');
    for (const QByteArray &word : words) {
        if (column > indent) {
            const bool fits = column + 1 + word.size() <= width;
            text += fits ? QByteArray(" ") : '\n' + QByteArray(indent, ' ');
            column = fits ? column + 1 : indent;
        }
        text += word;
        column += word.size();
    }
    return text + '\n';
}

/// @param topic null for all commands
QByteArray exitRows(const Command *topic)
{
    constexpr int indent = 5;
    QByteArray rows = "\nExit status:\n";
    QByteArray last;
    for (const Exit &exit : kExits) {
        const QByteArray commands = exit.commands;
        const bool isOwn = topic != nullptr && commands.split(' ').contains(topic->name);
        if (topic != nullptr && !isOwn && !commands.isEmpty())
            continue;
        const QByteArray prefix =
            isOwn || commands.isEmpty() ? "" : QByteArray(commands).replace(' ', ", ") + ": ";
        rows += row(last == exit.status ? "" : exit.status, prefix + exit.meaning, indent);
        last = exit.status;
    }
    return rows;
}

QByteArray programHelp()
{
    QByteArray help = "Usage: quillonctl COMMAND [OPTION]...\n\nCommands:\n";
    for (const Command &known : CommandLine::kCommands)
        help += row(QByteArray("  ") + known.name + known.argument, known.description, kIndent);
    return help + '\n' + row("", "Run 'quillonctl help COMMAND' for the options of a command.", 0)
           + exitRows(nullptr);
}

QByteArray commandHelp(const Command &command)
{
    QByteArray help = QByteArray("Usage: quillonctl ") + command.name + command.argument
                      + " [OPTION]...\n" + row("", command.description, 0) + "\nOptions:\n";
    for (const Option &option : CommandLine::kOptions) {
        const QByteArray names = QByteArray(option.names).replace(",", ", --");
        const QByteArray left = (names.contains(',') ? "  -" : "  --") + names + ' ' + option.value;
        if (std::strchr(command.options, option.id) != nullptr)
            help += row(left, option.description, kIndent);
    }
    return help + exitRows(&command);
}

} // namespace

ExitStatus Commands::help(const Options &options)
{
    const Command *topic = CommandLine::commandNamed(options.argument.value_or(QString()));
    Output::print(topic == nullptr ? programHelp() : commandHelp(*topic));
    return ExitStatus::Done;
}

ExitStatus Commands::version(const Options & /*options*/)
{
    Output::print("quillonctl " QUILLON_VERSION "\n");
    return ExitStatus::Done;
}
