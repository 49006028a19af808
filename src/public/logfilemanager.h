#pragma once

#include <QtGlobal>

class QString;

/// The process's message handler. Each message becomes one line of one log file,
/// which is deleted when it is too old or too large. No line is buffered and the
/// file is closed after each message, so a crash loses nothing.
namespace ServiceLog {

inline constexpr quint64 kMaxAgeSeconds = 604800; ///< 7 days
inline constexpr quint64 kMaxBytes = 52428800; ///< 50 MiB

/// Stores the full path of the log file. Call once, before the handler is installed.
void getLogFilePath(const QString &path);

/// The handler, for qInstallMessageHandler(). May run on several threads at
/// once. A line that cannot be written is lost and a warning goes to standard error.
void InstallerMessageOutput(QtMsgType type, const QMessageLogContext &context,
                            const QString &message);

/// Enables every logging category at every level.
void printAllLog();

/// Deletes the log file if it exceeds a limit, as the handler does before each
/// line. Age counts from the creation time, or from the modification time if the
/// file system has no creation time. A file from the future counts as too old.
void FixTimerBackUpFile();

} // namespace ServiceLog
