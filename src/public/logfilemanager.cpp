#include "logfilemanager.h"

#include <QByteArray>
#include <QFile>
#include <QLoggingCategory>
#include <QString>

#include <chrono>
#include <cstring>
#include <ctime>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr mode_t kLogMode = 0666; // less what the umask takes

// Set once, before the handler is installed, and needed to the very end.
QByteArray logFilePathIn; // clazy:exclude=non-pod-global-static

// Not std::time(): it lags behind the clock that dates files, and a file from
// the future would be deleted.
qint64 currentSeconds()
{
    using namespace std::chrono;
    return duration_cast<seconds>(system_clock::now().time_since_epoch()).count();
}

quint32 creationSeconds(const struct statx &file)
{
    const auto &time = (file.stx_mask & STATX_BTIME) != 0 ? file.stx_btime : file.stx_mtime;
    return static_cast<quint32>(time.tv_sec);
}

bool isOverLimit(const struct statx &file)
{
    const auto now = static_cast<quint32>(currentSeconds());
    const quint64 age = quint64{now} - quint64{creationSeconds(file)};
    return age > ServiceLog::kMaxAgeSeconds || file.stx_size > ServiceLog::kMaxBytes;
}

/// False when something else than a file stands at the path: a FIFO or a
/// device could block the writer or swallow its lines.
bool makeRoomForLine()
{
    struct statx file = {};
    if (statx(AT_FDCWD, logFilePathIn.constData(), 0, STATX_BASIC_STATS | STATX_BTIME, &file) != 0)
        return true;
    if (!S_ISREG(file.stx_mode))
        return false;
    if (isOverLimit(file))
        ::unlink(logFilePathIn.constData());
    return true;
}

const char *tagOf(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return "[Debug:";
    case QtWarningMsg:
        return "[qWarning:";
    case QtCriticalMsg:
        return "[Cirtiacl:";
    case QtFatalMsg:
        return "[Fatal:";
    case QtInfoMsg:
        break;
    }
    return "[Qinfo:";
}

const char *baseName(const char *file)
{
    if (file == nullptr)
        return "";
    const char *slash = std::strrchr(file, '/');
    return slash == nullptr ? file : slash + 1;
}

/// "yyyy-MM-dd hh:mm:ss". Local time costs more than the rest of a line, so the
/// text is kept until the second changes; a change of the time zone is seen then.
const char *localTimeText()
{
    thread_local std::time_t second = -1;
    thread_local char text[sizeof "yyyy-MM-dd hh:mm:ss"] = "";

    const std::time_t now = currentSeconds();
    if (now != second) {
        second = now;
        std::tm local = {};
        ::tzset();
        ::localtime_r(&now, &local);
        if (std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local) == 0)
            text[0] = '\0';
    }
    return text;
}

std::string lineOf(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    constexpr size_t headBytes = 96; // about
    const QByteArray text = message.toUtf8();
    const auto textBytes = static_cast<size_t>(text.size());
    std::string line;
    line.reserve(headBytes + textBytes);
    line.append(tagOf(type)).append(localTimeText()).append(":").append(baseName(context.file));
    line.append(" line:").append(std::to_string(context.line)).append("] ");
    line.append(text.constData(), textBytes).push_back('\n');
    return line;
}

/// To standard error, unless nobody reads it: a full pipe, socket or terminal would block.
void tell(const char *fault)
{
    pollfd error = {STDERR_FILENO, POLLOUT, 0};
    // A message raised inside the handler goes there as bare text.
    if (::poll(&error, 1, 0) > 0)
        qWarning("%s", fault);
}

/// On a full disk a write can end inside the line: the next one would be glued to it.
void takeBack(int file, ssize_t written)
{
    const off_t end = ::lseek(file, 0, SEEK_CUR);
    if (end >= written && ::ftruncate(file, end - written) != 0)
        tell("logFile shortened failed");
}

/// One single write in append mode keeps the lines of several threads whole.
bool appendLine(const std::string &line)
{
    constexpr int flags = O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    const int file = ::open(logFilePathIn.constData(), flags, kLogMode);
    if (file < 0)
        return false;

    const ssize_t written = ::write(file, line.data(), line.size());
    const bool whole = written == static_cast<ssize_t>(line.size());
    if (!whole && written > 0)
        takeBack(file, written);
    ::close(file);
    return whole;
}

/// A process that is killed in a write leaves half a line.
void endCutLine()
{
    const int file =
        ::open(logFilePathIn.constData(), O_RDWR | O_APPEND | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (file < 0)
        return;
    char last = '\n';
    struct stat status = {};
    if (::fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0)
        static_cast<void>(::pread(file, &last, 1, status.st_size - 1));
    if (last != '\n')
        appendLine("\n");
    ::close(file);
}

} // namespace

void ServiceLog::getLogFilePath(const QString &path)
{
    logFilePathIn = QFile::encodeName(path);
    endCutLine();
}

void ServiceLog::InstallerMessageOutput(QtMsgType type, const QMessageLogContext &context,
                                        const QString &message)
{
    if (!makeRoomForLine() || !appendLine(lineOf(type, context, message)))
        tell("logFile closed failed");
}

void ServiceLog::printAllLog()
{
    QLoggingCategory::setFilterRules(QStringLiteral("*=true"));
}

void ServiceLog::FixTimerBackUpFile()
{
    makeRoomForLine();
}
