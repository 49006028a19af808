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

struct Counts
{
    int members = 0; ///< those that Qt kept
    int names = 0; ///< the same, but those of one object with similar names count once
};

/// Two names are similar when they differ behind a NUL or in halves of surrogate pairs only: such
/// names can be one name to Qt's parser, or two.
QString withoutDetails(const QString &name)
{
    const QVector<uint> characters = name.leftRef(name.indexOf(QChar::Null)).toUcs4();
    return QString::fromUcs4(characters.constData(), characters.size());
}

// NOLINTNEXTLINE(misc-no-recursion): Qt's parser refuses more than 1,024 levels
void count(const QJsonValue &value, Counts &counts)
{
    const QJsonArray list = value.toArray();
    for (const QJsonValue &element : list)
        count(element, counts);

    const QJsonObject object = value.toObject();
    std::set<QString> names;
    for (auto member = object.begin(); member != object.end(); ++member) {
        names.insert(withoutDetails(member.key()));
        count(member.value(), counts);
    }
    counts.members += object.size();
    counts.names += static_cast<int>(names.size());
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
    const bool isFound = JsonText::DuplicateNames().add(text);
    require(hasDuplicateNames(Fuzz::piecesOf(text, size)) == isFound,
            "pieces give the same verdict");

    const QJsonDocument document = QJsonDocument::fromJson(text);
    if (document.isNull())
        return;
    Counts counts;
    count(document.isArray() ? QJsonValue(document.array()) : document.object(), counts);
    const int written = colonsOutsideStrings(text);
    require(isFound || counts.members == written, "Qt drops a member only where one is found");
    require(!isFound || counts.names < written, "one is found only where two names are similar");
}
