#include "logcommand.h"

#include "fileaccess.h"
#include "logfile.h"
#include "logrenderer.h"
#include "options.h"
#include "output.h"

#include <cerrno>
#include <chrono>

#include <poll.h>
#include <unistd.h>

namespace {

// The log is deleted and made anew, so a kernel watch on the file would be lost.
constexpr std::chrono::milliseconds kPollInterval{200};

ExitStatus unreadable(const QString &path, int error)
{
    Output::complain(FileAccess::refusal(path, error));
    return ExitStatus::Refused;
}

/// Prints all that there is now. False, and told, when it cannot.
bool copy(const LogFile &log, LogRenderer &renderer, const QString &path)
{
    for (QByteArray bytes;;) {
        if (!log.read(bytes)) {
            unreadable(path, errno);
            return false;
        }
        if (bytes.isEmpty())
            return true;
        if (!Output::print(renderer.add(bytes)))
            return false;
    }
}

/// The writer opens the file for each line, so once there is another one the
/// old one is complete: its last bytes and a line that never ended.
bool finish(const LogFile &log, LogRenderer &renderer, const QString &path)
{
    if (!copy(log, renderer, path))
        return false;
    const QByteArray rest = renderer.rest();
    return rest.isEmpty() || Output::print(rest + '\n');
}

/// False when nobody reads the output any more.
bool pause()
{
    pollfd output = {STDOUT_FILENO, 0, 0};
    return ::poll(&output, 1, static_cast<int>(kPollInterval.count())) <= 0;
}

ExitStatus follow(LogFile &log, LogRenderer &renderer, const QString &path)
{
    do {
        const bool isReplaced = log.isOpen() && log.isReplaced();
        if (isReplaced && !finish(log, renderer, path))
            return ExitStatus::Refused;
        if ((isReplaced || !log.isOpen()) && !log.open() && errno != ENOENT)
            return unreadable(path, errno);
        if (log.isOpen() && !copy(log, renderer, path))
            return ExitStatus::Refused;
    } while (pause());
    return ExitStatus::Done;
}

} // namespace

ExitStatus LogCommand::run(const Options &options)
{
    LogFile log(options.file);
    LogRenderer renderer(options.level, options.since);
    if (options.follow)
        return follow(log, renderer, options.file);

    if (!log.open())
        return unreadable(options.file, errno);
    if (!copy(log, renderer, options.file) || !Output::print(renderer.rest()))
        return ExitStatus::Refused;
    return ExitStatus::Done;
}
