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

/// The time in the format of the log. Comparing two of these texts compares the times.
QByteArray timeText(const QDateTime &time);

/// A time of the log in the format of RFC 3339; null if it is not a time.
QJsonValue jsonTime(const QByteArray &time);

struct Head
{
    Level level;
    QByteArray time; ///< see timeText()
    int textStart; ///< where in the line the message begins
};

/// The head of a message; nothing when the line continues the one before.
std::optional<Head> headOf(const QByteArray &line);

/// Returns the line, which has no line feed, with each scrambled text in clear and
/// the whole line escaped. Backslashes in scrambled texts are doubled, to distinguish
/// them from escapes. A text that only looks scrambled is unchanged.
QByteArray inClear(const QByteArray &line);

/// Takes the complete lines from the start of the bytes, without their line
/// feeds. A line above 1 MiB is cut into several.
QVector<QByteArray> takeLines(QByteArray &bytes);

} // namespace LogText

/// Shows a log with its scrambled texts in clear. Takes it in pieces of any size.
class LogRenderer
{
public:
    /// Shows a message, with all its lines, if it has at least this level and is not
    /// older than this time. An empty time means no limit.
    LogRenderer(LogText::Level level, QByteArray since);

    QByteArray add(const QByteArray &bytes);

    /// At the end of the log: returns the last line, if it has no line feed.
    QByteArray rest();

private:
    bool shows(const QByteArray &line);

    const LogText::Level m_level;
    const QByteArray m_since;
    QByteArray m_pending;
    bool m_isShown; // the message that the line belongs to
};
