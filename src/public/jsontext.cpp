#include "jsontext.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QVector>

#include <algorithm>

namespace {

/// Position behind the string that starts at a quotation mark.
int endOfString(const QByteArray &text, int start)
{
    for (int position = start + 1; position < text.size(); ++position) {
        if (text.at(position) == '\\')
            ++position;
        else if (text.at(position) == '"')
            return position + 1;
    }
    return text.size();
}

bool isSimple(char byte)
{
    return byte >= ' ' && byte <= '~' && byte != '\\';
}

/// The string without its quotation marks and escapes: "\u0061" names the same member as "a".
QString plain(const QByteArray &string)
{
    if (string.size() >= 2 && std::all_of(string.cbegin(), string.cend(), isSimple))
        return QString::fromLatin1(string.constData() + 1, string.size() - 2);
    return QJsonDocument::fromJson('[' + string + ']').array().at(0).toString();
}

} // namespace

bool JsonText::isEmpty(const QJsonDocument &document)
{
    return document.object().isEmpty() && document.array().isEmpty();
}

bool JsonText::hasTwins(const QByteArray &text)
{
    QVector<QSet<QString>> objects; // those that are open, each with its names; a list has none
    QByteArray string; // the last one: a name when a colon follows
    for (int position = 0; position < text.size();) {
        const char byte = text.at(position);
        const int end = byte == '"' ? endOfString(text, position) : position + 1;
        if (byte == '"') {
            string = text.mid(position, end - position);
        } else if (byte == '{' || byte == '[') {
            objects.append(QSet<QString>());
        } else if ((byte == '}' || byte == ']') && !objects.isEmpty()) {
            objects.removeLast();
        } else if (byte == ':' && !objects.isEmpty()) {
            const QString name = plain(string);
            if (objects.constLast().contains(name))
                return true;
            objects.last().insert(name);
        }
        position = end;
    }
    return false;
}
