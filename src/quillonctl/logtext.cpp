#include "logtext.h"

#include "logencryption.h"
#include "logmessages.h"
#include "output.h"

#include <QDateTime>

#include <algorithm>
#include <utility>

namespace {

constexpr int kMaxLineBytes = 1024 * 1024;
constexpr char kTimeFormat[] = "yyyy-MM-dd hh:mm:ss";
constexpr char kTimeShape[] = "0000-00-00 00:00:00";
constexpr int kTimeSize = sizeof kTimeShape - 1;

struct LevelName
{
    LogText::Level level = LogText::Level::Debug;
    const char *tag = "";
    const char *name = "";
    const char *alias = name;
};

const LevelName kLevels[] = {
    {LogText::Level::Debug, LogMessages::tags[QtDebugMsg], "debug"},
    {LogText::Level::Info, LogMessages::tags[QtInfoMsg], "info"},
    {LogText::Level::Warning, LogMessages::tags[QtWarningMsg], "warning", "warn"},
    {LogText::Level::Critical, LogMessages::tags[QtCriticalMsg], "critical", "error"},
    {LogText::Level::Fatal, LogMessages::tags[QtFatalMsg], "fatal"},
};

bool isTime(const QByteArray &text)
{
    const auto fits = [](char byte, char shape) {
        return shape == '0' ? byte >= '0' && byte <= '9' : byte == shape;
    };
    return std::equal(text.cbegin(), text.cend(), kTimeShape, kTimeShape + kTimeSize, fits);
}

bool isBase64(char byte)
{
    return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z')
           || (byte >= '0' && byte <= '9') || byte == '+' || byte == '/';
}

/// The base64 text that begins there; empty unless it is complete.
QByteArray base64At(const QByteArray &line, int start)
{
    // The marker consists of base64 letters too. Ending at the next one also keeps the time
    // linear in a line of markers, which a server can place in an error text.
    const int next = line.indexOf(encryptedIdentity.data(), start);
    const int limit = next < 0 ? line.size() : next;
    int end = start;
    while (end < limit && isBase64(line.at(end)))
        ++end;
    for (int padding = 0; padding < 2 && end < limit && line.at(end) == '='; ++padding)
        ++end;
    const QByteArray run = line.mid(start, end - start);
    return QByteArray::fromBase64(run).toBase64() == run ? run : QByteArray();
}

} // namespace

std::optional<LogText::Level> LogText::levelNamed(const QString &name)
{
    for (const LevelName &known : kLevels) {
        if (name == QLatin1String(known.name) || name == QLatin1String(known.alias))
            return known.level;
    }
    return {};
}

QByteArray LogText::timeText(const QDateTime &time)
{
    return time.toString(QLatin1String(kTimeFormat)).toUtf8();
}

QJsonValue LogText::jsonTime(const QByteArray &time)
{
    const auto local = QDateTime::fromString(QString::fromLatin1(time), QLatin1String(kTimeFormat));
    // Qt writes the offset only for a time that has an explicit one.
    return Output::orNull(
        local.toOffsetFromUtc(local.offsetFromUtc()).toString(Qt::ISODate).toUtf8());
}

std::optional<LogText::Head> LogText::headOf(const QByteArray &line)
{
    for (const LevelName &known : kLevels) {
        const QByteArray time = line.mid(int(qstrlen(known.tag)), kTimeSize);
        if (!line.startsWith(known.tag) || !isTime(time))
            continue;
        const int bracket = line.indexOf("] ", line.indexOf(" line:"));
        return Head{known.level, time, bracket < 0 ? line.size() : bracket + 2};
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
        QByteArray text = LogEncryption::decryptionMessage(QByteArray::fromBase64(base64));
        shown += Output::escaped(line.mid(done, before - done))
                 + Output::escaped(text.replace('\\', "\\\\"));
        done = at;
    }
    return shown + Output::escaped(line.mid(done));
}

QVector<QByteArray> LogText::takeLines(QByteArray &bytes)
{
    QVector<QByteArray> lines;
    int start = 0;
    for (int end = bytes.indexOf('\n'); end >= 0; end = bytes.indexOf('\n', start)) {
        lines.append(bytes.mid(start, end - start));
        start = end + 1;
    }
    for (; bytes.size() - start > kMaxLineBytes; start += kMaxLineBytes)
        lines.append(bytes.mid(start, kMaxLineBytes));
    bytes.remove(0, start);
    return lines;
}

LogRenderer::LogRenderer(LogText::Level level, QByteArray since)
    : m_level(level)
    , m_since(std::move(since))
    , m_isShown(level == LogText::Level::Debug && m_since.isEmpty())
{
}

QByteArray LogRenderer::add(const QByteArray &bytes)
{
    QByteArray text;
    const QVector<QByteArray> lines = LogText::takeLines(m_pending += bytes);
    for (const QByteArray &line : lines) {
        if (shows(line))
            text += LogText::inClear(line) + '\n';
    }
    return text;
}

QByteArray LogRenderer::rest()
{
    return shows(m_pending) ? LogText::inClear(m_pending) : QByteArray();
}

bool LogRenderer::shows(const QByteArray &line)
{
    if (const auto head = LogText::headOf(line))
        m_isShown = head->level >= m_level && head->time >= m_since;
    return m_isShown;
}
