#include "terminaltext.h"

#include <QString>
#include <QVector>

namespace {

constexpr uint kFirstNonAscii = 0x80;

struct Character
{
    uint code;
    int size; ///< in bytes
    bool isText; ///< false for a byte that is no part of UTF-8
};

int sequenceSize(uchar lead)
{
    if (lead >= 0xf0)
        return 4;
    if (lead >= 0xe0)
        return 3;
    return lead >= 0xc0 ? 2 : 1;
}

Character characterAt(const QByteArray &text, int position)
{
    const auto lead = static_cast<uchar>(text.at(position));
    if (lead < kFirstNonAscii)
        return {lead, 1, true};
    const QByteArray bytes = text.mid(position, sequenceSize(lead));
    const QString decoded = QString::fromUtf8(bytes);
    if (decoded.toUtf8() != bytes)
        return {lead, 1, false};
    return {decoded.toUcs4().constFirst(), bytes.size(), true};
}

bool isHarmless(const Character &character)
{
    switch (QChar::category(character.code)) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return false;
    default:
        return character.isText;
    }
}

QByteArray escapeOf(const Character &character)
{
    switch (character.code) {
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        break;
    }
    const QByteArray digits = QByteArray::number(character.code, 16).toUpper();
    if (character.isText && character.code >= kFirstNonAscii)
        return "\\u{" + digits + '}';
    return "\\x" + digits.rightJustified(2, '0');
}

} // namespace

QByteArray TerminalText::escaped(const QByteArray &text)
{
    QByteArray shown;
    shown.reserve(text.size());
    for (int position = 0; position < text.size();) {
        const Character character = characterAt(text, position);
        if (isHarmless(character))
            shown.append(text.constData() + position, character.size);
        else
            shown.append(escapeOf(character));
        position += character.size;
    }
    return shown;
}
