#include "logtext.h"

#include "logencryption.h"
#include "output.h"

#include <QDateTime>

#include <algorithm>
#include <utility>

namespace {

constexpr int kMaxLineBytes = 1024 * 1024;
constexpr char kContinued[] = "(continued) ";

struct LevelName
{
    LogLine::Level level = LogLine::Level::Debug;
    const char *name = "";
    const char *alias = name;
};

const LevelName kLevels[] = {
    {LogLine::Level::Debug, "debug"},
    {LogLine::Level::Info, "info"},
    {LogLine::Level::Warning, "warning", "warn"},
    {LogLine::Level::Critical, "critical", "error"},
    {LogLine::Level::Fatal, "fatal"},
};

bool isBase64(char byte)
{
    return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z')
           || (byte >= '0' && byte <= '9') || byte == '+' || byte == '/';
}

/// Where the scrambled text that begins at the position would end. The base64 can contain the
/// letters of the marker by chance, so another marker does not end it.
int endOfScrambled(const QByteArray &line, int start)
{
    int end = start;
    while (end < line.size() && isBase64(line.at(end)))
        ++end;
    for (int padding = 0; padding < 2 && end < line.size() && line.at(end) == '='; ++padding)
        ++end;
    return end;
}

} // namespace

std::optional<LogLine::Level> LogText::levelNamed(const QString &name)
{
    for (const LevelName &known : kLevels) {
        if (name == QLatin1String(known.name) || name == QLatin1String(known.alias))
            return known.level;
    }
    return {};
}

QByteArray LogText::timeText(const QDateTime &time)
{
    return LogLine::timeText(time.toSecsSinceEpoch()).data();
}

QJsonValue LogText::jsonTime(const QByteArray &time)
{
    const auto local =
        QDateTime::fromString(QString::fromLatin1(time), QLatin1String(LogLine::kTimeFormat));
    // Qt writes the offset only for a time that has an explicit one.
    return Output::orNull(
        local.toOffsetFromUtc(local.offsetFromUtc()).toString(Qt::ISODate).toUtf8());
}

QByteArray LogText::unscrambled(const QByteArray &text)
{
    if (!text.startsWith(encryptedIdentity.data()))
        return {};
    const QByteArray base64 = text.mid(encryptedIdentity.size());
    const QByteArray bytes = QByteArray::fromBase64(base64);
    return bytes.toBase64() == base64 ? LogEncryption::decryptionMessage(bytes) : QByteArray();
}

QByteArray LogText::inClear(const QByteArray &line)
{
    QByteArray shown;
    int done = 0;
    for (int start = 0; (start = line.indexOf(encryptedIdentity.data(), start)) >= 0;) {
        const int end = endOfScrambled(line, start);
        const QByteArray text = unscrambled(line.mid(start, end - start));
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
