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

// By level, separated by blanks.
const char *const kLevelNames[] = {"debug", "info", "warning warn", "critical crit error err",
                                   "fatal"};

} // namespace

std::optional<LogLine::Level> LogText::levelNamed(const QString &name)
{
    int level = 0;
    for (const char *names : kLevelNames) {
        if (QString::fromLatin1(names).split(QLatin1Char(' ')).contains(name, Qt::CaseInsensitive))
            return static_cast<LogLine::Level>(level);
        ++level;
    }
    return {};
}

QByteArray LogText::timeText(const QDateTime &time)
{
    return LogLine::timeText(time.toSecsSinceEpoch()).data();
}

QJsonValue LogText::jsonTime(const QByteArray &time)
{
    const QDateTime local = QDateTime::fromString(QString::fromLatin1(time), LogLine::kTimeFormat);
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

QVector<QByteArray> LogText::takeLines(QByteArray &unread)
{
    QVector<QByteArray> lines;
    int start = 0;
    for (int end = 0; (end = unread.indexOf('\n', start)) >= 0; start = end + 1)
        lines.append(unread.mid(start, end - start));
    unread.remove(0, start);
    while (unread.size() > kMaxLineBytes) {
        lines.append(unread.left(kMaxLineBytes));
        unread.replace(0, kMaxLineBytes, kContinued);
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
    m_unread += bytes;
    const QVector<QByteArray> lines = LogText::takeLines(m_unread);
    for (const QByteArray &line : lines) {
        if (shows(line))
            text += LogText::inClear(line) + '\n';
    }
    return text;
}

QByteArray LogRenderer::rest()
{
    return shows(m_unread) ? LogText::inClear(m_unread) : QByteArray();
}

bool LogRenderer::shows(const QByteArray &line)
{
    if (const auto head = LogLine::headOf(line))
        m_isShown = head->level >= m_level && head->time >= m_since;
    return m_isShown;
}
