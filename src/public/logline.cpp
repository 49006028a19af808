#include "logline.h"

#include "logencryption.h"
#include "logmessages.h"

#include <QDateTime>
#include <QRegularExpression>

#include <algorithm>
#include <cstring>
#include <string_view>

namespace {

constexpr char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// By QtMsgType.
constexpr std::array<LogLine::Level, LogMessages::tags.size()> kLevels{
    LogLine::Level::Debug, LogLine::Level::Warning, LogLine::Level::Critical, LogLine::Level::Fatal,
    LogLine::Level::Info};

bool isTime(const QByteArray &text)
{
    static const QRegularExpression time(QStringLiteral(R"(^\d{4}(-\d\d){2} \d\d(:\d\d){2}$)"));
    return time.match(QString::fromLatin1(text)).hasMatch();
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
    const std::string_view file = context.file == nullptr ? "" : context.file;
    const QByteArray text = message.toUtf8();
    const auto textBytes = static_cast<size_t>(text.size());
    std::string line;
    line.reserve(headBytes + textBytes);
    line.append(LogMessages::tags.at(type)).append(time);
    line.append(":").append(file.substr(file.rfind('/') + 1));
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
    const char *const text = line.constData() + start; // ends with a NUL
    const auto size = static_cast<int>(std::strspn(text, kBase64));
    const auto padding = static_cast<int>(std::strspn(text + size, "="));
    return start + size + std::min(padding, 2);
}

QByteArray LogLine::unscrambled(const QByteArray &text)
{
    if (!text.startsWith(encryptedIdentity.data()))
        return {};
    const QByteArray base64 = text.mid(encryptedIdentity.size());
    const QByteArray bytes = QByteArray::fromBase64(base64);
    return bytes.toBase64() == base64 ? LogEncryption::decryptionMessage(bytes) : QByteArray();
}
