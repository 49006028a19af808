#include "optionvalues.h"

#include "options.h"

#include <QDateTime>

namespace {

constexpr qint64 kMinuteSeconds = 60;
constexpr qint64 kHourSeconds = 60 * kMinuteSeconds;
constexpr qint64 kDaySeconds = 24 * kHourSeconds;

// toInt() alone takes blanks, a plus sign and leading zeros.
std::optional<int> decimal(const QString &text)
{
    bool isNumber = false;
    const int number = text.toInt(&isNumber);
    if (!isNumber || QString::number(number) != text)
        return {};
    return number;
}

qint64 unitSeconds(QChar unit)
{
    switch (unit.unicode()) {
    case 's':
        return 1;
    case 'm':
        return kMinuteSeconds;
    case 'h':
        return kHourSeconds;
    case 'd':
        return kDaySeconds;
    default:
        return 0;
    }
}

/// Empty when the text is no span.
QByteArray timeBefore(const QDateTime &now, const QString &span)
{
    const auto count = decimal(span.chopped(1));
    const qint64 unit = unitSeconds(span.back());
    if (!count || *count < 0 || unit == 0)
        return {};
    return LogText::timeText(now.addSecs(-*count * unit));
}

/// "yyyy-MM-dd" with or without the time in minutes or seconds gets all of it.
QString wholeTime(QString text)
{
    const QString midnight = QStringLiteral(" 00:00:00");
    const int dateSize = int(qstrlen("yyyy-MM-dd"));
    if (text.size() > dateSize && text.at(dateSize) == QLatin1Char('T'))
        text[dateSize] = QLatin1Char(' ');
    const int timeSize = text.size() - dateSize;
    const bool isCut = timeSize == 0 || timeSize == int(qstrlen(" hh:mm"));
    return isCut ? text + midnight.mid(timeSize) : text;
}

} // namespace

QString OptionValues::readTimeout(const QString &value, Options &options)
{
    const auto milliseconds = decimal(value);
    if (!milliseconds || *milliseconds < 1)
        return QStringLiteral("--timeout takes a number of milliseconds from 1 on, not '%1'")
            .arg(value);
    options.timeout = std::chrono::milliseconds(*milliseconds);
    return {};
}

QString OptionValues::readSince(const QString &value, Options &options)
{
    const QByteArray before =
        value.isEmpty() ? QByteArray() : timeBefore(QDateTime::currentDateTime(), value);
    const QByteArray time = before.isEmpty() ? wholeTime(value).toUtf8() : before;
    if (!LogText::isTime(time))
        return QStringLiteral("--since takes yyyy-MM-dd, \"yyyy-MM-dd hh:mm[:ss]\" or a span "
                              "such as 90s, 15m, 2h or 7d, not '%1'")
            .arg(value);
    options.since = time;
    return {};
}

QString OptionValues::readLevel(const QString &value, Options &options)
{
    const auto level = LogText::levelNamed(value);
    if (!level)
        return QStringLiteral("--level takes debug, info, warning, critical or fatal, not '%1'")
            .arg(value);
    options.level = *level;
    return {};
}

QString OptionValues::readIndex(const QString &value, Options &options)
{
    const auto index = decimal(value);
    if (!index)
        return QStringLiteral("INDEX is a whole number as 'quillonctl show' lists it, not '%1'")
            .arg(value);
    options.serverIndex = *index;
    return {};
}

QString OptionValues::readFile(const QString &value, Options &options)
{
    options.file = value;
    return {};
}

QString OptionValues::readConfigurationFile(const QString &value, Options &options)
{
    options.configurationFile = value;
    return {};
}

QString OptionValues::contradictionIn(const Options &options)
{
    return options.follow && options.file == QLatin1String("-")
               ? QStringLiteral("--follow needs a file, not the standard input")
               : QString();
}
