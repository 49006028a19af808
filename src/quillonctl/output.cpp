#include "output.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QVector>

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace {

bool isAscii(uint code)
{
    return code >= ' ' && code <= '~';
}

bool isPrintable(uint code)
{
    const QChar::Category category = QChar::category(code);
    return category != QChar::Other_Control && category != QChar::Other_Format
           && category != QChar::Separator_Line && category != QChar::Separator_Paragraph;
}

QByteArray escapeOf(uint code, bool isByte)
{
    if (code == '\n')
        return "\\n";
    if (code == '\r')
        return "\\r";
    if (code == '\t')
        return "\\t";
    const QByteArray digits = QByteArray::number(code, 16).toUpper();
    return isByte || code <= 0x7f ? "\\x" + digits.rightJustified(2, '0') : "\\u{" + digits + '}';
}

} // namespace

QJsonObject Verdict::toJson(QJsonObject document) const
{
    document.insert(QStringLiteral("ok"), isDone());
    document.insert(QStringLiteral("status"), static_cast<int>(status));
    if (!isDone()) {
        document.insert(QStringLiteral("error"), QLatin1String(error));
        document.insert(QStringLiteral("message"), QString::fromUtf8(message));
    }
    return document;
}

bool Output::print(const QByteArray &bytes)
{
    const auto size = static_cast<size_t>(bytes.size());
    if (std::fwrite(bytes.constData(), 1, size, stdout) == size && std::fflush(stdout) == 0)
        return true;
    if (errno == EPIPE)
        std::clearerr(stdout);
    else
        complain("cannot write the output: " + qt_error_string(errno).toUtf8());
    return false;
}

void Output::complain(const QByteArray &message)
{
    const QByteArray line = "quillonctl: " + escaped(message) + '\n';
    static_cast<void>(std::fputs(line.constData(), stderr)); // a failure cannot be reported
}

ExitStatus Output::conclude(const Verdict &verdict, bool asJson, const QJsonObject &document,
                            const QByteArray &text)
{
    print(asJson ? jsonLine(document.isEmpty() ? verdict.toJson() : document) : text);
    if (!verdict.isDone())
        complain(verdict.message);
    return verdict.status;
}

QByteArray Output::jsonLine(const QJsonObject &object)
{
    QByteArray line;
    const QString text = QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
    for (const QChar unit : text) {
        if (isAscii(unit.unicode()))
            line += unit.toLatin1();
        else
            line += "\\u" + QByteArray::number(unit.unicode(), 16).rightJustified(4, '0');
    }
    return line + '\n';
}

QJsonValue Output::orNull(const QByteArray &utf8)
{
    return utf8.isEmpty() ? QJsonValue() : QJsonValue(QString::fromUtf8(utf8));
}

QByteArray Output::escaped(const QByteArray &text)
{
    if (std::all_of(text.begin(), text.end(), [](char byte) { return isAscii(uchar(byte)); }))
        return text;
    // Without the size, Qt 5 reads up to the first NUL.
    const QString decoded = QString::fromUtf8(text.constData(), text.size());
    const bool isUtf8 = decoded.toUtf8() == text;
    const QVector<uint> codes =
        (isUtf8 ? decoded : QString::fromLatin1(text.constData(), text.size())).toUcs4();
    QByteArray shown;
    for (const uint code : codes) {
        if (isAscii(code) || (isUtf8 && isPrintable(code)))
            shown += QString::fromUcs4(&code, 1).toUtf8();
        else
            shown += escapeOf(code, !isUtf8);
    }
    return shown;
}

Verdict Output::unreadable(const QString &path, int errnoValue)
{
    const QByteArray owner = QFileInfo(path).owner().toUtf8();
    const QByteArray reason =
        errnoValue == ENOTSUP ? "not a regular file" : qt_error_string(errnoValue).toUtf8();
    const QByteArray advice = "; run this as " + (owner.isEmpty() ? "root" : owner);
    return {ExitStatus::Failed, "unreadable",
            "cannot read " + path.toUtf8() + ": " + reason + (errnoValue == EACCES ? advice : "")};
}
