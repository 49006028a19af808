#include "jsontext.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QVector>

#include <algorithm>
#include <optional>

namespace {

constexpr size_t kMaxNesting = 1024; // Qt's parser refuses more

/// Decodes a string in quotation marks as Qt's parser does; returns nothing if Qt rejects it.
/// The result is cut at a NUL, and half of a surrogate pair becomes the replacement character:
/// Qt considers some names equal that differ only there.
std::optional<QString> nameIn(const QByteArray &string)
{
    const auto isSimple = [](char byte) { return byte >= ' ' && byte <= '~' && byte != '\\'; };
    if (std::all_of(string.cbegin(), string.cend(), isSimple))
        return QString::fromLatin1(string.constData(), string.size() - 1);
    // The added quotation mark protects a byte order mark: Qt drops one at the start of a text.
    const QJsonDocument list = QJsonDocument::fromJson("[\"\\" + string + ']');
    if (list.isNull())
        return std::nullopt;
    const QVector<uint> characters = list.array().at(0).toString().toUcs4();
    const QString name = QString::fromUcs4(characters.constData(), characters.size());
    return name.left(name.indexOf(QChar::Null));
}

} // namespace

bool JsonText::isEmpty(const QJsonDocument &document)
{
    return document.object().isEmpty() && document.array().isEmpty();
}

QByteArray JsonText::faultIn(const QByteArray &text)
{
    QJsonParseError error = {};
    QJsonDocument::fromJson(text, &error);
    if (error.error == QJsonParseError::NoError)
        return {};
    // One more byte, so that Qt finds something unexpected if the text ends too early.
    QJsonDocument::fromJson(text + '\x1', &error);
    // Qt stops behind the unexpected character, except in these cases.
    const bool isBefore = error.error == QJsonParseError::IllegalNumber
                          || error.error == QJsonParseError::TerminationByNumber
                          || error.error == QJsonParseError::IllegalUTF8String;
    const QByteArray before = text.left(isBefore ? error.offset : error.offset - 1);
    const QByteArray line = before.mid(before.lastIndexOf('\n') + 1);
    constexpr int longestCharacter = 4;
    const auto next = QString::fromUtf8(text.mid(before.size(), longestCharacter)).toUcs4();
    return "line " + QByteArray::number(before.count('\n') + 1) + ", column "
           + QByteArray::number(QString::fromUtf8(line).size() + 1) + ": unexpected "
           + (next.isEmpty() ? QByteArray("end")
                             : '\'' + QString::fromUcs4(next.constData(), 1).toUtf8() + '\'');
}

bool JsonText::DuplicateNames::add(const QByteArray &piece)
{
    for (const char byte : piece) {
        if (m_isOver || m_isFound)
            break;
        if (m_isInString)
            takeOfString(byte);
        else
            take(byte);
    }
    return m_isFound;
}

void JsonText::DuplicateNames::takeOfString(char byte)
{
    m_string += byte;
    if (m_isEscaped)
        m_isEscaped = false;
    else if (byte == '\\')
        m_isEscaped = true;
    else
        m_isInString = byte != '"';
}

void JsonText::DuplicateNames::take(char byte)
{
    switch (byte) {
    case '"':
        m_string = "\"";
        m_isInString = true;
        break;
    case ':':
        endName();
        break;
    case '{':
    case '[':
        m_isOver = m_levels.size() == kMaxNesting;
        m_levels.push_back({byte == '{', {}});
        break;
    case '}':
    case ']':
        if (!m_levels.empty())
            m_levels.pop_back();
        break;
    }
}

void JsonText::DuplicateNames::endName()
{
    if (m_levels.empty() || !m_levels.back().isObject || m_string.isEmpty())
        return;
    const std::optional<QString> name = nameIn(m_string);
    m_string.clear(); // a string names at most one member
    m_isOver = !name;
    m_isFound = name && !m_levels.back().names.insert(*name).second;
}
