#include "protocol.h"

#include <QJsonValue>
#include <QRegularExpression>

#include <limits>

int Protocol::numberIn(const QJsonValue &value)
{
    // QString::toInt() accepts U+2212 as a minus sign too.
    static const QRegularExpression integer(QStringLiteral("^[-+\u2212]?[0-9]+$"));
    const QString text = value.toString();
    bool isInt = false;
    const int number = text.toInt(&isInt);
    const bool isTooLarge = !isInt && integer.match(text.trimmed()).hasMatch();
    return isTooLarge ? std::numeric_limits<int>::max() : number;
}
