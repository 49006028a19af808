#pragma once

#include <QtGlobal>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

/// Files from outside. A FIFO or a device could block the reader, or never end.
namespace RegularFile {

inline constexpr qint64 kMaxBytes = 1024 * 1024; ///< of a file that is read whole

/// Opens a file like open(2), close-on-exec. Returns the descriptor, or -1 with the reason in
/// errno: ENOTSUP if it opened anything but a regular file.
/// @param status set to type, size, modification time and creation time, or 0 if unknown
inline int open(const char *path, int flags, struct statx &status, mode_t mode = 0)
{
    constexpr unsigned fields = STATX_TYPE | STATX_SIZE | STATX_MTIME | STATX_BTIME;
    const int file = ::open(path, flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, mode);
    if (file < 0 || statx(file, "", AT_EMPTY_PATH, fields, &status) != 0
        || S_ISREG(status.stx_mode))
        return file;
    ::close(file);
    errno = ENOTSUP;
    return -1;
}

} // namespace RegularFile
