#include "logline.h"

#include "logencryption.h"
#include "logmessages.h"

#include <QDateTime>

#include <algorithm>
#include <cstring>

namespace {

constexpr int kMaxLineBytes = 1024 * 1024;
constexpr char kContinued[] = "(continued) ";

// By QtMsgType.
constexpr std::array<LogLine::Level, LogMessages::tags.size()> kLevels{
    LogLine::Level::Debug, LogLine::Level::Warning, LogLine::Level::Critical, LogLine::Level::Fatal,
    LogLine::Level::Info};

const char *baseName(const char *file)
{
    if (file == nullptr)
        return "";
    const char *slash = std::strrchr(file, '/');
    return slash == nullptr ? file : slash + 1;
}

bool isDigit(char byte)
{
    return byte >= '0' && byte <= '9';
}

bool isBase64(char byte)
{
    return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') || isDigit(byte)
           || byte == '+' || byte == '/';
}

bool isTime(const QByteArray &text)
{
    const auto fits = [](char byte, char format) {
        return format >= 'A' ? isDigit(byte) : byte == format;
    };
    const char *const end = LogLine::kTimeFormat + LogLine::kTimeSize;
    return std::equal(text.cbegin(), text.cend(), LogLine::kTimeFormat, end, fits);
}

} // namespace

LogLine::Time LogLine::timeText(std::time_t second)
{
    Time text{};
    std::tm local = {};
    ::localtime_r(&second, &local);
    if (std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local) == 0)
        text.front() = '\0';
    return text;
}

QDateTime LogLine::dateTimeIn(const QByteArray &text)
{
    return QDateTime::fromString(QString::fromLatin1(text), QLatin1String(kTimeFormat));
}

std::string LogLine::compose(QtMsgType type, const char *time, const QMessageLogContext &context,
                             const QString &message)
{
    constexpr size_t headBytes = 96; // roughly
    const QByteArray text = message.toUtf8();
    const auto textBytes = static_cast<size_t>(text.size());
    std::string line;
    line.reserve(headBytes + textBytes);
    line.append(LogMessages::tags.at(type)).append(time);
    line.append(":").append(baseName(context.file));
    line.append(" line:").append(std::to_string(context.line)).append("] ");
    line.append(text.constData(), textBytes).push_back('\n');
    return line;
}

std::optional<LogLine::Head> LogLine::headOf(const QByteArray &line)
{
    for (size_t type = 0; type < LogMessages::tags.size(); ++type) {
        const char *const tag = LogMessages::tags.at(type);
        if (!line.startsWith(tag))
            continue;
        const QByteArray time = line.mid(static_cast<int>(qstrlen(tag)), kTimeSize);
        const int bracket = line.indexOf("] ", line.indexOf(" line:"));
        if (isTime(time))
            return Head{kLevels.at(type), time, bracket < 0 ? line.size() : bracket + 2};
    }
    return {};
}

int LogLine::endOfScrambled(const QByteArray &line, int start)
{
    int end = start;
    while (end < line.size() && isBase64(line.at(end)))
        ++end;
    for (int padding = 0; padding < 2 && end < line.size() && line.at(end) == '='; ++padding)
        ++end;
    return end;
}

QByteArray LogLine::unscrambled(const QByteArray &text)
{
    if (!text.startsWith(encryptedIdentity.data()))
        return {};
    const QByteArray base64 = text.mid(encryptedIdentity.size());
    const QByteArray bytes = QByteArray::fromBase64(base64);
    return bytes.toBase64() == base64 ? LogEncryption::decryptionMessage(bytes) : QByteArray();
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
