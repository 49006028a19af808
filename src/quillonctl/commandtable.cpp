#include "commandtable.h"

#include "commandline.h"
#include "commands.h"

#include <algorithm>
#include <cstring>

#include <sys/ioctl.h>
#include <unistd.h>

namespace {

using CommandTable::Command;
using CommandTable::Option;

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
    {"  4", "show use status", "no answer in time"},
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
    for (const Command &command : CommandTable::kCommands)
        help +=
            row(QByteArray("  ") + command.name + command.argument, command.description, kIndent);
    return help + '\n' + row("", "Run 'quillonctl help COMMAND' for the options of a command.", 0)
           + exitRows(nullptr);
}

QByteArray commandHelp(const Command &command)
{
    QByteArray help = QByteArray("Usage: quillonctl ") + command.name + command.argument
                      + " [OPTION]...\n" + row("", command.description, 0) + "\nOptions:\n";
    for (const Option &option : CommandTable::kOptions) {
        const QByteArray names = QByteArray(option.names).replace(",", ", --");
        const QByteArray label =
            (names.contains(',') ? "  -" : "  --") + names + ' ' + option.value;
        if (CommandTable::takes(command, option))
            help += row(label, option.description, kIndent);
    }
    return help + exitRows(&command);
}

} // namespace

const Command CommandTable::kCommands[] = {
    {"show", "", "jtwhv", "Show the default servers and the server in use.", Commands::show},
    {"use", " INDEX", "jtwphv", "Choose the default server with this index.", Commands::use},
    {"status", "", "jtwhv", "Show whether the daemon answers and how its last probe ended.",
     Commands::status},
    {"check", " [FILE|-]", "jhv",
     "Check the daemon's configuration file, a FILE or standard input.", Commands::check},
    {"monitor", "", "jshv", "Print probes, choices and clients as the daemon logs them.",
     Commands::monitor},
    {"log", " [FILE|-]", "fnslhv", "Print the daemon's log, a FILE or standard input in clear.",
     Commands::log},
    {"help", " [COMMAND]", "hv", "Show the help of the program or of a command.", showHelp},
    {"version", "", "hv", "Show the version.", showVersion},
};

const Option CommandTable::kOptions[] = {
    {'j', "json", "", "Print JSON, also for an error: one document, or one object per event."},
    {'t', "timeout", "TIME",
     "Give up after TIME: a number of milliseconds, or a number with s, m, h or d. The default is "
     "3s, or 15s to wait for a probe."},
    {'w', "wait", "", "Keep trying until a daemon answers or the time is up."},
    {'p', "probe", "", "Wait for the probe of the chosen server; succeed only with status 200."},
    {'f', "f,follow", "",
     "Continue with new lines, even after the log is deleted and created again."},
    {'n', "n,lines", "N", "Begin with the last N lines."},
    {'s', "since", "WHEN",
     "Print only what happened since WHEN: yyyy-MM-dd, \"yyyy-MM-dd hh:mm[:ss]\", or an age such "
     "as "
     "90s, 15m, 2h or 7d."},
    {'l', "level", "LEVEL",
     "Print only messages of at least LEVEL: debug, info, warning or warn, critical or error, "
     "fatal."},
    {'h', "h,help", "", "Show this help."},
    {'v', "version", "", "Show the version."},
};

const Command *CommandTable::commandNamed(const QString &name)
{
    for (const Command &command : kCommands) {
        if (name == QLatin1String(command.name))
            return &command;
    }
    return nullptr;
}

bool CommandTable::takes(const Command &command, const Option &option)
{
    return std::strchr(command.options, option.id) != nullptr;
}

ExitStatus CommandTable::showHelp(const Options &options)
{
    const Command *topic = commandNamed(options.argument.value_or(QString()));
    Output::print(topic == nullptr ? programHelp() : commandHelp(*topic));
    return ExitStatus::Done;
}

ExitStatus CommandTable::showVersion(const Options & /*options*/)
{
    Output::print("quillonctl " QUILLON_VERSION "\n");
    return ExitStatus::Done;
}
