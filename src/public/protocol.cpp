#include "protocol.h"

#include <QJsonValue>
#include <QString>

#include <algorithm>
#include <limits>

namespace {

bool isWhole(QString number)
{
    if (number.startsWith(QLatin1Char('-')) || number.startsWith(QLatin1Char('+')))
        number.remove(0, 1);
    return !number.isEmpty()
           && std::all_of(number.cbegin(), number.cend(), [](QChar c) { return c.isDigit(); });
}

} // namespace

int Protocol::numberIn(const QJsonValue &value)
{
    using Limits = std::numeric_limits<int>;
    const QString text = value.toString();
    bool isInt = false;
    const int number = text.toInt(&isInt);
    if (isInt || !isWhole(text))
        return number;
    return text.startsWith(QLatin1Char('-')) ? Limits::min() : Limits::max();
}
