#include "logfilemanager.h"

#include "logline.h"
#include "regularfile.h"

#include <QByteArray>
#include <QFile>
#include <QLoggingCategory>
#include <QString>

#include <chrono>
#include <ctime>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr mode_t kLogMode = 0666; // the umask restricts it

// Set once, before the handler is installed, and used until the process ends.
QByteArray logFilePathIn; // clazy:exclude=non-pod-global-static

// Not std::time(): it lags behind the clock that dates files, so a new log could seem
// to be from the future and be deleted.
qint64 currentSeconds()
{
    return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
}

bool isOverLimit(const struct statx &file)
{
    if (file.stx_mask == 0) // the kernel, or a filter of system calls, refuses statx()
        return false;
    const auto &time = (file.stx_mask & STATX_BTIME) != 0 ? file.stx_btime : file.stx_mtime;
    const auto created = static_cast<quint32>(time.tv_sec);
    const auto now = static_cast<quint32>(currentSeconds());
    const quint64 age = quint64{now} - quint64{created};
    return age > ServiceLog::kMaxAgeSeconds || file.stx_size > ServiceLog::kMaxBytes;
}

/// Opens the log, after deleting one that exceeds a limit. Returns the file descriptor, or -1 when
/// there is no log or it is not a regular file.
/// @param creation O_CREAT or 0
int openLog(int creation)
{
    const int flags = O_RDWR | O_APPEND | creation;
    struct statx status = {};
    const int file = RegularFile::open(logFilePathIn.constData(), flags, status, kLogMode);
    if (file < 0 || !isOverLimit(status))
        return file;
    ::close(file);
    ::unlink(logFilePathIn.constData());
    return RegularFile::open(logFilePathIn.constData(), flags, status, kLogMode);
}

/// Converting to local time costs more than the rest of a line, so the text is cached for one
/// second. Each update reads the time zone again.
const char *localTimeText()
{
    thread_local std::time_t second = -1;
    thread_local LogLine::Time text{};

    const std::time_t now = currentSeconds();
    if (now != second) {
        second = now;
        ::tzset();
        text = LogLine::timeText(now);
    }
    return text.data();
}

/// Warns unless that would block on a full pipe, socket or terminal. Qt prints a message that is
/// logged inside the handler to standard error, as bare text.
void warnOnStderr(const char *fault)
{
    pollfd error = {STDERR_FILENO, POLLOUT, 0};
    if (::poll(&error, 1, 0) > 0)
        qWarning("%s", fault);
}

} // namespace

void ServiceLog::getLogFilePath(const QString &path)
{
    logFilePathIn = QFile::encodeName(path);
}

void ServiceLog::InstallerMessageOutput(QtMsgType type, const QMessageLogContext &context,
                                        const QString &message)
{
    const QByteArray line = LogLine::compose(type, localTimeText(), context, message);
    const int file = openLog(O_CREAT);
    if (file < 0)
        return warnOnStderr("logFile closed failed");
    // A single write in append mode keeps the lines of several threads whole.
    const ssize_t written = ::write(file, line.data(), static_cast<size_t>(line.size()));
    const bool isWhole = written == line.size();
    // A write to a full disk can end inside the line, and the next line would join it.
    if (!isWhole && written > 0 && ::ftruncate(file, ::lseek(file, 0, SEEK_CUR) - written) != 0)
        warnOnStderr("logFile shortened failed");
    ::close(file);
    if (!isWhole)
        warnOnStderr("logFile closed failed");
}

void ServiceLog::printAllLog()
{
    QLoggingCategory::setFilterRules(QStringLiteral("*=true"));
}

void ServiceLog::FixTimerBackUpFile()
{
    const int file = openLog(0);
    if (file >= 0)
        ::close(file);
}
