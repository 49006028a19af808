#include "logtext.h"

#include "logencryption.h"
#include "output.h"

#include <QDateTime>
#include <QStringList>

#include <algorithm>
#include <utility>

namespace {

constexpr int kMaxLineBytes = 1024 * 1024;
constexpr char kContinued[] = "(continued) ";

struct LevelName
{
    LogLine::Level level;
    const char *names; ///< separated by blanks
};

const LevelName kLevels[] = {
    {LogLine::Level::Debug, "debug"},
    {LogLine::Level::Info, "info"},
    {LogLine::Level::Warning, "warning warn"},
    {LogLine::Level::Critical, "critical crit error err"},
    {LogLine::Level::Fatal, "fatal"},
};

} // namespace

std::optional<LogLine::Level> LogText::levelNamed(const QString &name)
{
    for (const LevelName &known : kLevels) {
        const QStringList names = QString::fromLatin1(known.names).split(QLatin1Char(' '));
        if (names.contains(name, Qt::CaseInsensitive))
            return known.level;
    }
    return {};
}

QByteArray LogText::timeText(const QDateTime &time)
{
    return LogLine::timeText(time.toSecsSinceEpoch()).data();
}

QDateTime LogText::dateTimeIn(const QByteArray &time)
{
    return QDateTime::fromString(QString::fromLatin1(time), QLatin1String(LogLine::kTimeFormat));
}

QJsonValue LogText::jsonTime(const QByteArray &time)
{
    const QDateTime local = dateTimeIn(time);
    // Qt writes the offset only for a time that has an explicit one.
    return Output::orNull(
        local.toOffsetFromUtc(local.offsetFromUtc()).toString(Qt::ISODate).toUtf8());
}

QByteArray LogText::inClear(const QByteArray &line)
{
    QByteArray shown;
    int done = 0;
    for (int start = 0; (start = line.indexOf(encryptedIdentity.data(), start)) >= 0;) {
        const int end = LogLine::endOfScrambled(line, start);
        const QByteArray text = LogLine::unscrambled(line.mid(start, end - start));
        if (!text.isEmpty()) {
            shown += Output::escaped(line.mid(done, start - done))
                     + Output::escaped(QByteArray(text).replace('\\', "\\\\"));
            done = end;
        }
        start = end;
    }
    return shown + Output::escaped(line.mid(done));
}

QVector<QByteArray> LogLines::add(const QByteArray &bytes)
{
    QVector<QByteArray> lines;
    int start = 0;
    m_pending += bytes;
    for (int end = m_pending.indexOf('\n'); end >= 0; end = m_pending.indexOf('\n', start)) {
        lines.append(m_pending.mid(start, end - start));
        start = end + 1;
    }
    m_pending.remove(0, start);
    while (m_pending.size() > kMaxLineBytes) {
        lines.append(m_pending.left(kMaxLineBytes));
        m_pending.replace(0, kMaxLineBytes, kContinued);
    }
    return lines;
}

LogRenderer::LogRenderer(LogLine::Level level, QByteArray since)
    : m_level(level)
    , m_since(std::move(since))
    , m_isShown(level == LogLine::Level::Debug && m_since.isEmpty())
{
}

QByteArray LogRenderer::add(const QByteArray &bytes)
{
    QByteArray text;
    const QVector<QByteArray> lines = m_lines.add(bytes);
    for (const QByteArray &line : lines) {
        if (shows(line))
            text += LogText::inClear(line) + '\n';
    }
    return text;
}

QByteArray LogRenderer::rest()
{
    return shows(m_lines.rest()) ? LogText::inClear(m_lines.rest()) : QByteArray();
}

bool LogRenderer::shows(const QByteArray &line)
{
    if (const auto head = LogLine::headOf(line))
        m_isShown = head->level >= m_level && head->time >= m_since;
    return m_isShown;
}
