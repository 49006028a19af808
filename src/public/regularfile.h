#pragma once

#include <QFileInfo>

/// The check before the daemon opens a file.
namespace RegularFile {

inline constexpr qint64 kMaxBytes = 1024 * 1024;

/// Whether a regular file (or a link to one) of at most 1 MiB is at the
/// path. Reading anything else could block for ever or fill the memory.
inline bool isSmallRegularFile(const QString &path)
{
    const QFileInfo file(path);
    return file.isFile() && file.size() <= kMaxBytes;
}

} // namespace RegularFile
