#pragma once

#include <QByteArray>
#include <QLatin1String>

#include <array>
#include <ctime>
#include <optional>

class QMessageLogContext;
class QString;

/// The grammar of the daemon's log: "[Debug:2026-11-25 10:00:00:main.cpp line:7] text". A text with
/// line feeds continues on lines without a head. Pure; takes any bytes.
namespace LogLine {

enum class Level { Debug, Info, Warning, Critical, Fatal };

inline const QLatin1String kTimeFormat{"yyyy-MM-dd hh:mm:ss"}; ///< of QDateTime
inline constexpr int kTimeSize = 19; ///< bytes of kTimeFormat

/// A text that ends with a NUL. Comparing two of these texts compares the times.
using Time = std::array<char, kTimeSize + 1>;

/// The local time; empty for a year of more than four digits.
Time timeText(std::time_t second);

/// The line for a message, with its line feed.
/// @param time see timeText()
QByteArray compose(QtMsgType type, const char *time, const QMessageLogContext &context,
                   const QString &message);

struct Head
{
    Level level;
    QByteArray time; ///< see timeText()
    int textStart; ///< where in the line the text begins
};

/// The head of a message; nothing when the line continues the one before.
std::optional<Head> headOf(const QByteArray &line);

/// Where a scrambled text that starts with its marker (logencryption.h) at the position would end.
/// Another marker does not end it: base64 can contain its letters.
int endOfScrambled(const QByteArray &line, int start);

/// Undoes the scrambling of a marker and its base64. Nothing for any other text.
QByteArray unscrambled(const QByteArray &text);

} // namespace LogLine
