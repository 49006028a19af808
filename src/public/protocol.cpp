#include "protocol.h"

#include <QJsonValue>
#include <QString>

#include <algorithm>
#include <limits>

int Protocol::numberIn(const QJsonValue &value)
{
    const QString text = value.toString();
    bool isInt = false;
    const int number = text.toInt(&isInt);
    QString digits = text.trimmed();
    if (QStringLiteral("+-\u2212").contains(digits.leftRef(1))) // U+2212 is a minus to toInt()
        digits.remove(0, 1);
    const auto isDigit = [](QChar unit) { return unit.unicode() >= '0' && unit.unicode() <= '9'; };
    if (isInt || digits.isEmpty() || !std::all_of(digits.cbegin(), digits.cend(), isDigit))
        return number;
    return std::numeric_limits<int>::max();
}
