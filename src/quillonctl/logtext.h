#pragma once

#include <QByteArray>
#include <QVector>

#include <optional>

class QDateTime;
class QJsonValue;
class QString;

/// Reads the text of a log and undoes its scrambling. Pure; takes any bytes.
namespace LogText {

enum class Level { Debug, Info, Warning, Critical, Fatal };

/// The level with this name on the command line.
std::optional<Level> levelNamed(const QString &name);

/// The time as the log has it. Such texts compare like the times.
QByteArray timeText(const QDateTime &time);

/// A time of the log as RFC 3339 has it; null when it is none.
QJsonValue jsonTime(const QByteArray &time);

struct Head
{
    Level level;
    QByteArray time; ///< see timeText()
    int textStart; ///< where in the line the message begins
};

/// The head of a message; nothing when the line continues the one before.
std::optional<Head> headOf(const QByteArray &line);

/// The line, given without its line feed, with each scrambled text in clear and
/// all of it escaped. Backslashes in these texts are doubled, to distinguish
/// them from escapes. What only looks scrambled stays.
QByteArray inClear(const QByteArray &line);

/// Takes the complete lines from the start of the bytes, without their line
/// feeds. A line above 1 MiB is cut into several.
QVector<QByteArray> takeLines(QByteArray &bytes);

} // namespace LogText

/// Shows a log with its scrambled texts in clear, in whatever pieces it is read.
class LogRenderer
{
public:
    /// A message is shown with all its lines when it has at least the level and
    /// is not older than the time. An empty time is no limit.
    LogRenderer(LogText::Level level, QByteArray since);

    QByteArray add(const QByteArray &bytes);

    /// What waits for its line feed, for the end of the log.
    QByteArray rest();

private:
    bool shows(const QByteArray &line);

    const LogText::Level m_level;
    const QByteArray m_since;
    QByteArray m_pending;
    bool m_isShown; // the message that the line belongs to
};
