#include "logline.h"

#include "logencryption.h"
#include "logmessages.h"

#include <QRegularExpression>
#include <QStringBuilder>

#include <algorithm>
#include <cstring>
#include <string_view>

namespace {

constexpr char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// By QtMsgType.
constexpr std::array<LogLine::Level, LogMessages::tags.size()> kLevels{
    LogLine::Level::Debug, LogLine::Level::Warning, LogLine::Level::Critical, LogLine::Level::Fatal,
    LogLine::Level::Info};

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

QByteArray LogLine::compose(QtMsgType type, const char *time, const QMessageLogContext &context,
                            const QString &message)
{
    const std::string_view file = context.file == nullptr ? "" : context.file;
    const char *const name = file.data() + (file.rfind('/') + 1);
    return QByteArray(LogMessages::tags.at(type)) % time % ':' % name % " line:"
           % QByteArray::number(context.line) % "] " % message.toUtf8() % '\n';
}

std::optional<LogLine::Head> LogLine::headOf(const QByteArray &line)
{
    static const QRegularExpression pattern(QStringLiteral(R"(^\d{4}(-\d\d){2} \d\d(:\d\d){2}$)"));
    for (size_t type = 0; type < LogMessages::tags.size(); ++type) {
        const char *const tag = LogMessages::tags.at(type);
        if (!line.startsWith(tag))
            continue;
        const QByteArray time = line.mid(static_cast<int>(qstrlen(tag)), kTimeSize);
        const int bracket = line.indexOf("] ", line.indexOf(" line:"));
        if (pattern.match(QString::fromLatin1(time)).hasMatch())
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
