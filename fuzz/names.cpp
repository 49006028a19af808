// The search for duplicate member names in a text.

#include "target.h"

#include "jsontext.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

// Of two members with the same name, Qt's JSON parser leaks the first one if it is a list or an
// object. That would end every run.
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the sanitizer's name
extern "C" const char *__asan_default_options()
{
    return "detect_leaks=0";
}

namespace {

// NOLINTNEXTLINE(misc-no-recursion): Qt's parser refuses more than 1,024 levels
int membersIn(const QJsonValue &value)
{
    const QJsonArray list = value.toArray();
    const QJsonObject object = value.toObject();
    int members = object.size();
    for (const QJsonValue &element : list)
        members += membersIn(element);
    for (auto member = object.begin(); member != object.end(); ++member)
        members += membersIn(member.value());
    return members;
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

void Fuzz::run(const QByteArray &text)
{
    const bool isFound = JsonText::hasDuplicateNames(text);
    const QJsonDocument document = QJsonDocument::fromJson(text);
    if (document.isNull())
        return;
    const int kept = membersIn(document.isArray() ? QJsonValue(document.array())
                                                  : QJsonValue(document.object()));
    require(isFound || kept == colonsOutsideStrings(text),
            "Qt drops a member only where one is found");
}
