// The search for duplicate member names: the first byte is the size of the pieces in which the
// text comes.

#include "target.h"

#include "jsontext.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

#include <set>

using Fuzz::require;

namespace {

bool hasDuplicateNames(const QVector<QByteArray> &pieces)
{
    JsonText::DuplicateNames names;
    bool isFound = false;
    for (const QByteArray &piece : pieces) {
        const bool isStillFound = names.add(piece);
        require(isStillFound || !isFound, "more bytes change no duplicate");
        isFound = isStillFound;
    }
    return isFound;
}

/// Counts members of the same name once. Qt keeps one of them, except where it compares names in
/// UTF-8 with names in UTF-16, which it sorts differently. Some it compares up to a NUL only.
int namesIn(const QJsonValue &value)
{
    int names = 0;
    const QJsonArray list = value.toArray();
    for (const QJsonValue &element : list)
        names += namesIn(element);

    const QJsonObject object = value.toObject();
    std::set<QString> own;
    for (auto member = object.begin(); member != object.end(); ++member) {
        const QString name = member.key();
        own.insert(name.left(name.indexOf(QChar::Null)));
        names += namesIn(member.value());
    }
    return names + static_cast<int>(own.size());
}

int colonsOutsideStrings(const QByteArray &text)
{
    int colons = 0;
    bool isInString = false;
    for (int position = 0; position < text.size(); ++position) {
        const char byte = text.at(position);
        if (byte == '"')
            isInString = !isInString;
        else if (byte == '\\' && isInString)
            ++position;
        else if (byte == ':' && !isInString)
            ++colons;
    }
    return colons;
}

} // namespace

void Fuzz::run(const QByteArray &input)
{
    const int size = input.isEmpty() ? 1 : static_cast<uchar>(input.front()) + 1;
    const QByteArray text = input.mid(1);
    const bool isFound = JsonText::hasDuplicateNames(text);
    require(hasDuplicateNames(Fuzz::piecesOf(text, size)) == isFound,
            "pieces give the same verdict");

    const QJsonDocument document = QJsonDocument::fromJson(text);
    if (document.isNull())
        return;
    const int names = document.isArray() ? namesIn(document.array()) : namesIn(document.object());
    require(isFound == (names < colonsOutsideStrings(text)),
            "names are duplicate where there are fewer names than members");
}
