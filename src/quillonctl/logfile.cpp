#include "logfile.h"

#include "paths.h"
#include "regularfile.h"

#include <QFile>

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

LogFile::LogFile(const QString &path)
    : m_path(QFile::encodeName(path))
{
}

bool LogFile::open()
{
    close();
    // Opening a FIFO waits for its writer, which is right only for one that the user names.
    struct statx status = {};
    if (m_path == Paths::logFile.data())
        m_descriptor = RegularFile::open(m_path.constData(), O_RDONLY, status);
    else if (m_path == "-")
        m_descriptor = ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0);
    else
        m_descriptor = ::open(m_path.constData(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    return m_descriptor >= 0;
}

void LogFile::skipToEnd() const
{
    off_t end = ::lseek(m_descriptor, 0, SEEK_END);
    char last = '\n';
    while (end > 0 && ::pread(m_descriptor, &last, 1, end - 1) == 1 && last != '\n')
        --end;
    ::lseek(m_descriptor, end, SEEK_SET);
}

bool LogFile::read(QByteArray &bytes)
{
    char block[65536];
    const ssize_t size = ::read(m_descriptor, block, sizeof block);
    bytes = QByteArray(block, size < 0 ? 0 : static_cast<int>(size));
    if (!bytes.isEmpty())
        m_lastByte = bytes.back();
    return size >= 0;
}

bool LogFile::follow(QByteArray &bytes)
{
    bytes.clear();
    if (m_descriptor >= 0) {
        // The daemon opens the log for each line, so it adds nothing to a file that was replaced.
        const bool isComplete = isReplaced();
        const bool isRead = read(bytes);
        if (!isRead || !bytes.isEmpty() || !isComplete)
            return isRead;
        close();
        if (std::exchange(m_lastByte, '\n') != '\n')
            bytes = "\n";
    }
    return !bytes.isEmpty() || (open() ? read(bytes) : errno == ENOENT);
}

bool LogFile::isReplaced() const
{
    struct stat mine = {};
    struct stat current = {};
    if (::fstat(m_descriptor, &mine) != 0 || ::stat(m_path.constData(), &current) != 0)
        return errno == EACCES; // open() fails for the same reason
    if (mine.st_dev != current.st_dev || mine.st_ino != current.st_ino)
        return true;
    return S_ISREG(mine.st_mode) && mine.st_size < ::lseek(m_descriptor, 0, SEEK_CUR);
}

void LogFile::close()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
    m_descriptor = -1;
}
