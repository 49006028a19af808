#include "jsontext.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <optional>

namespace {

constexpr size_t kMaxNesting = 1024; // Qt's parser refuses more

bool isSimple(char byte)
{
    return byte >= ' ' && byte <= '~' && byte != '\\';
}

/// The text of a string in quotation marks, its escapes undone: "\u0061" names the
/// same member as "a". Nothing when Qt's parser refuses the string.
std::optional<QString> textOf(const QByteArray &string)
{
    if (std::all_of(string.cbegin(), string.cend(), isSimple))
        return QString::fromLatin1(string.constData() + 1, string.size() - 2);
    const QJsonDocument list = QJsonDocument::fromJson('[' + string + ']');
    return list.isNull() ? std::nullopt : std::optional(list.array().at(0).toString());
}

} // namespace

bool JsonText::isEmpty(const QJsonDocument &document)
{
    return document.object().isEmpty() && document.array().isEmpty();
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
        open(byte == '{');
        break;
    case '}':
    case ']':
        if (!m_levels.empty())
            m_levels.pop_back();
        break;
    default:
        break;
    }
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

void JsonText::DuplicateNames::endName()
{
    if (m_levels.empty() || !m_levels.back().isObject || m_string.isEmpty())
        return;
    const std::optional<QString> name = textOf(m_string);
    m_string.clear(); // each string names one member at most
    m_isOver = !name;
    m_isFound = name && !m_levels.back().names.insert(*name).second;
}

void JsonText::DuplicateNames::open(bool isObject)
{
    m_isOver = m_levels.size() == kMaxNesting;
    m_levels.push_back({isObject, {}});
}

bool JsonText::hasDuplicateNames(const QByteArray &text)
{
    return DuplicateNames().add(text);
}
