#include "logtext.h"

#include "logencryption.h"
#include "terminaltext.h"

#include <QDateTime>
#include <QString>

#include <algorithm>

namespace {

constexpr int kMaxPadding = 2;

struct LevelName
{
    LogText::Level level = LogText::Level::Debug;
    QLatin1String tag;
    QLatin1String name;
};

const LevelName kLevels[] = {
    {LogText::Level::Debug, QLatin1String("[Debug:"), QLatin1String("debug")},
    {LogText::Level::Info, QLatin1String("[Qinfo:"), QLatin1String("info")},
    {LogText::Level::Warning, QLatin1String("[qWarning:"), QLatin1String("warning")},
    {LogText::Level::Critical, QLatin1String("[Cirtiacl:"), QLatin1String("critical")},
    {LogText::Level::Fatal, QLatin1String("[Fatal:"), QLatin1String("fatal")},
};

constexpr char kTimeShape[] = "0000-00-00 00:00:00";
constexpr int kTimeSize = sizeof kTimeShape - 1;

bool isBase64(char byte)
{
    return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z')
           || (byte >= '0' && byte <= '9') || byte == '+' || byte == '/';
}

/// The base64 between the two places; empty when it is no whole one.
QByteArray base64In(const char *begin, const char *limit)
{
    const char *end = std::find_if_not(begin, limit, isBase64);
    for (int padding = 0; padding < kMaxPadding && end != limit && *end == '='; ++padding)
        ++end;
    const QByteArray run(begin, static_cast<int>(end - begin));
    return QByteArray::fromBase64(run).toBase64() == run ? run : QByteArray();
}

QByteArray base64At(const QByteArray &line, int start)
{
    const QByteArray whole = base64In(line.cbegin() + start, line.cend());
    // The marker's letters are base64 too: without a quote between them the next
    // scrambled text seems to belong to this one.
    const int next = line.indexOf(encryptedIdentity.data(), start);
    return whole.isEmpty() && next >= 0 ? base64In(line.cbegin() + start, line.cbegin() + next)
                                        : whole;
}

QByteArray unscrambled(const QByteArray &base64)
{
    QByteArray text = LogEncryption::decryptionMessage(QByteArray::fromBase64(base64));
    return TerminalText::escaped(text.replace('\\', "\\\\"));
}

/// @param position of what follows the time: ":FILE line:NUMBER] "
LogText::Head headWith(LogText::Level level, const QByteArray &time, const QByteArray &line,
                       int position)
{
    const int label = std::max(position, line.indexOf(" line:", position));
    const int bracket = line.indexOf("] ", label);
    return {level, time, line.mid(position + 1, label - position - 1),
            bracket < 0 ? line.size() : bracket + 2};
}

} // namespace

std::optional<LogText::Level> LogText::levelNamed(const QString &name)
{
    for (const LevelName &known : kLevels) {
        if (name == known.name)
            return known.level;
    }
    return {};
}

bool LogText::isTime(const QByteArray &text)
{
    const auto fits = [](char byte, char shape) {
        return shape == '0' ? byte >= '0' && byte <= '9' : byte == shape;
    };
    if (!std::equal(text.cbegin(), text.cend(), kTimeShape, kTimeShape + kTimeSize, fits))
        return false;
    const auto number = [&text](int position) { return text.mid(position, 2).toInt(); };
    return QDate::isValid(text.left(4).toInt(), number(5), number(8))
           && QTime::isValid(number(11), number(14), number(17));
}

QByteArray LogText::timeText(const QDateTime &time)
{
    return time.toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")).toUtf8();
}

std::optional<LogText::Head> LogText::headOf(const QByteArray &line)
{
    for (const LevelName &known : kLevels) {
        if (!line.startsWith(known.tag.data()))
            continue;
        const QByteArray time = line.mid(known.tag.size(), kTimeSize);
        if (isTime(time))
            return headWith(known.level, time, line, known.tag.size() + kTimeSize);
    }
    return {};
}

QByteArray LogText::inClear(const QByteArray &line)
{
    QByteArray shown;
    int done = 0;
    for (int at = line.indexOf(encryptedIdentity.data()); at >= 0;
         at = line.indexOf(encryptedIdentity.data(), at)) {
        const QByteArray base64 = base64At(line, at + encryptedIdentity.size());
        const int before = at;
        at += encryptedIdentity.size() + base64.size();
        if (base64.isEmpty())
            continue;
        shown += TerminalText::escaped(line.mid(done, before - done)) + unscrambled(base64);
        done = at;
    }
    return shown + TerminalText::escaped(line.mid(done));
}
