#include "output.h"

#include "terminaltext.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <cerrno>
#include <cstdio>

bool Output::print(const QByteArray &bytes)
{
    const auto size = static_cast<size_t>(bytes.size());
    if (std::fwrite(bytes.constData(), 1, size, stdout) == size && std::fflush(stdout) == 0)
        return true;
    if (errno != EPIPE)
        complain(QStringLiteral("cannot write the output: %1").arg(qt_error_string(errno)));
    return false;
}

void Output::complain(const QString &message)
{
    const QByteArray line = "quillonctl: " + TerminalText::escaped(message.toUtf8()) + '\n';
    // Where this cannot be told there is nobody to tell it to.
    static_cast<void>(std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stderr));
}

QByteArray Output::jsonLine(const QJsonObject &object)
{
    constexpr ushort lastPrintable = 0x7e;

    QByteArray line;
    const QByteArray utf8 = QJsonDocument(object).toJson(QJsonDocument::Compact);
    const QString text = QString::fromUtf8(utf8);
    for (const QChar character : text) {
        const ushort code = character.unicode();
        if (code <= lastPrintable)
            line.append(static_cast<char>(code));
        else
            line.append("\\u" + QByteArray::number(code, 16).rightJustified(4, '0'));
    }
    return line.append('\n');
}
