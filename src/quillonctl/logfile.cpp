#include "logfile.h"

#include "paths.h"

#include <QFile>

#include <array>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr size_t kReadBytes = 65536;

bool isRegular(int descriptor)
{
    struct stat status = {};
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

} // namespace

LogFile::LogFile(const QString &path)
    : m_path(QFile::encodeName(path))
{
}

LogFile::~LogFile()
{
    close();
}

bool LogFile::open()
{
    close();
    // A FILE may be a pipe. At the log's own place the daemon writes to none, so nothing would
    // come.
    const bool isDaemonsLog = m_path == QFile::encodeName(Paths::logFile);
    const int flags = O_RDONLY | O_CLOEXEC | O_NOCTTY | (isDaemonsLog ? O_NONBLOCK : 0);
    m_descriptor = m_path == "-" ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                 : ::open(m_path.constData(), flags);
    if (isOpen() && isDaemonsLog && !isRegular(m_descriptor)) {
        close();
        errno = ENOTSUP;
    }
    return isOpen();
}

bool LogFile::read(QByteArray &bytes) const
{
    std::array<char, kReadBytes> buffer = {};
    ssize_t size = -1;
    do {
        size = ::read(m_descriptor, buffer.data(), buffer.size());
    } while (size < 0 && errno == EINTR);
    bytes = QByteArray(buffer.data(), size < 0 ? 0 : static_cast<int>(size));
    return size >= 0;
}

void LogFile::skip() const
{
    ::lseek(m_descriptor, 0, SEEK_END);
}

bool LogFile::isReplaced() const
{
    struct stat mine = {};
    struct stat current = {};
    if (::fstat(m_descriptor, &mine) != 0 || ::stat(m_path.constData(), &current) != 0)
        return false;
    if (mine.st_dev != current.st_dev || mine.st_ino != current.st_ino)
        return true;
    return S_ISREG(mine.st_mode) && mine.st_size < ::lseek(m_descriptor, 0, SEEK_CUR);
}

void LogFile::close()
{
    if (isOpen())
        ::close(m_descriptor);
    m_descriptor = -1;
}
