#pragma once

#include "logline.h"

#include <QVector>

class QDateTime;
class QJsonValue;

/// Shows the text of a log. Pure; takes any bytes.
namespace LogText {

/// The level with this name on the command line.
std::optional<LogLine::Level> levelNamed(const QString &name);

/// The local time in the format of the log.
QByteArray timeText(const QDateTime &time);

/// A time of the log in the format of RFC 3339; null if it is not a time.
QJsonValue jsonTime(const QByteArray &time);

/// Returns the line, which has no line feed, with each scrambled text in clear and
/// the whole line escaped. Backslashes in scrambled texts are doubled, to distinguish
/// them from escapes. A text that only looks scrambled is unchanged.
QByteArray inClear(const QByteArray &line);

/// Takes the complete lines, without their line feeds, from the start of the bytes. A line above
/// 1 MiB is cut into several. All but the first begin with a mark, so none is taken for a message.
QVector<QByteArray> takeLines(QByteArray &unread);

} // namespace LogText

/// Shows a log with its scrambled texts in clear. Takes it in pieces of any size.
class LogRenderer
{
public:
    /// Shows the messages of at least this level that are not older than this time, if any.
    LogRenderer(LogLine::Level level, QByteArray since);

    QByteArray add(const QByteArray &bytes);

    /// At the end of the log: returns the last line, if it has no line feed.
    QByteArray rest();

private:
    bool shows(const QByteArray &line);

    const LogLine::Level m_level;
    const QByteArray m_since;
    QByteArray m_unread; // the incomplete line at the end
    bool m_isShown; // the message that the line belongs to
};
