#pragma once

#include <QtGlobal>

class QString;

/// What the daemon checks before it opens a file.
namespace RegularFile {

inline constexpr qint64 kMaxBytes = 1024 * 1024;

/// Whether a regular file (or a link to one) of at most 1 MiB stands at the
/// path. Reading anything else could block for ever or fill the memory.
bool isSmallRegularFile(const QString &path);

} // namespace RegularFile
