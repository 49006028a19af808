#include "jsontext.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QVector>

#include <algorithm>
#include <optional>
#include <set>
#include <vector>

namespace {

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

/// The end of the string, or of the single byte, that starts at the position.
int endOfToken(const QByteArray &text, int position)
{
    if (text.at(position) != '"')
        return position + 1;
    for (int end = position + 1; end < text.size(); ++end) {
        if (text.at(end) == '"')
            return end + 1;
        if (text.at(end) == '\\')
            ++end;
    }
    return text.size();
}

} // namespace

bool JsonText::isEmpty(const QJsonDocument &document)
{
    return document.object().isEmpty() && document.array().isEmpty();
}

bool JsonText::hasDuplicateNames(const QByteArray &text)
{
    // By open object or list. Not a hash table: nobody can provoke collisions.
    std::vector<std::set<QString>> names;
    QByteArray string; // the last one, in quotation marks
    for (int position = 0; position < text.size();) {
        const int end = endOfToken(text, position);
        const char byte = text.at(position);
        if (byte == '"')
            string = text.mid(position, end - position);
        if (byte == '{' || byte == '[')
            names.emplace_back();
        if ((byte == '}' || byte == ']') && !names.empty())
            names.pop_back();
        if (byte == ':' && !names.empty() && !string.isEmpty()) {
            const std::optional<QString> name = nameIn(string);
            if (!name)
                return false;
            if (!names.back().insert(*name).second)
                return true;
            string.clear(); // it names at most one member
        }
        position = end;
    }
    return false;
}
