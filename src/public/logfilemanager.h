#pragma once

#include <QtGlobal>

class QString;

/// The process's message handler: each message becomes one line of one log
/// file, which is deleted when it grows too old or too large. No line is held
/// back and the file is never kept open between two messages, so a crash loses
/// nothing that was logged.
namespace ServiceLog {

inline constexpr quint64 kMaxAgeSeconds = 604800; ///< 7 days
inline constexpr quint64 kMaxBytes = 52428800; ///< 50 MiB

/// Stores the full path of the log file, and ends the line that a killed process
/// may have left there. Call once, before the handler is installed.
void getLogFilePath(const QString &path);

/// The handler, for qInstallMessageHandler(). May run on several threads at
/// once. A line that cannot be written is lost, with a warning on standard error.
void InstallerMessageOutput(QtMsgType type, const QMessageLogContext &context,
                            const QString &message);

/// Switches on every logging category at every level.
void printAllLog();

/// Deletes the log file when it is older or larger than the limits. A file from
/// the future counts as too old.
void FixTimerBackUpFile();

} // namespace ServiceLog
