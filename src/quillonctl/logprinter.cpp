#include "logprinter.h"

#include "fileaccess.h"
#include "logfile.h"
#include "logview.h"
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
bool copy(const LogFile &log, LogView &view, const QString &path)
{
    for (QByteArray bytes;;) {
        if (!log.read(bytes)) {
            unreadable(path, errno);
            return false;
        }
        if (bytes.isEmpty())
            return true;
        if (!Output::print(view.add(bytes)))
            return false;
    }
}

/// The writer opens the file for each line, so once there is another one the
/// old one is complete: its last bytes and a line that never ended.
bool finish(const LogFile &log, LogView &view, const QString &path)
{
    if (!copy(log, view, path))
        return false;
    const QByteArray rest = view.rest();
    return rest.isEmpty() || Output::print(rest + '\n');
}

/// False when nobody reads the output any more.
bool waitForMore()
{
    pollfd output = {STDOUT_FILENO, 0, 0};
    return ::poll(&output, 1, static_cast<int>(kPollInterval.count())) <= 0;
}

} // namespace

ExitStatus LogPrinter::print(const QString &path, LogView &view)
{
    LogFile log(path);
    if (!log.open())
        return unreadable(path, errno);
    if (!copy(log, view, path) || !Output::print(view.rest()))
        return ExitStatus::Refused;
    return ExitStatus::Done;
}

ExitStatus LogPrinter::follow(const QString &path, LogView &view, From from)
{
    LogFile log(path);
    if (from == From::Now && log.open())
        log.skip();
    do {
        const bool isReplaced = log.isOpen() && log.isReplaced();
        if (isReplaced && !finish(log, view, path))
            return ExitStatus::Refused;
        if ((isReplaced || !log.isOpen()) && !log.open() && errno != ENOENT)
            return unreadable(path, errno);
        if (log.isOpen() && !copy(log, view, path))
            return ExitStatus::Refused;
    } while (waitForMore());
    return ExitStatus::Done;
}
