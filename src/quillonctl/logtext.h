#pragma once

#include <QByteArray>

#include <optional>

class QDateTime;
class QString;

/// Reads what the daemon writes into its log and undoes its scrambling.
/// Pure; any bytes may come in.
namespace LogText {

enum class Level { Debug, Info, Warning, Critical, Fatal };

struct Head
{
    Level level;
    QByteArray time;
    QByteArray source; ///< the file that the message was raised in
    int textStart; ///< where in the line the message begins
};

/// The level that a person calls so on the command line.
std::optional<Level> levelNamed(const QString &name);

/// True for "yyyy-MM-dd hh:mm:ss" with an existing date and time. Such texts
/// compare like the times.
bool isTime(const QByteArray &text);

/// The time as isTime() has it.
QByteArray timeText(const QDateTime &time);

/// What the line tells of its message; nothing when the line goes on with the one before.
std::optional<Head> headOf(const QByteArray &line);

/// The line, given without its line feed, with each scrambled text in clear and
/// all of it escaped; in the texts backslashes are doubled, so that they tell
/// an escape from the same letters. What only looks scrambled stays.
QByteArray inClear(const QByteArray &line);

} // namespace LogText
