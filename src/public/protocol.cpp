#include "protocol.h"

#include <QJsonValue>
#include <QString>

#include <algorithm>
#include <limits>

namespace {

bool isDigit(QChar character)
{
    return character >= QLatin1Char('0') && character <= QLatin1Char('9');
}

/// Whether QString::toInt() would accept the text if int had no limits. It accepts
/// U+2212 as a minus sign too.
bool isInteger(const QString &text)
{
    QString digits = text.trimmed();
    if (!digits.isEmpty() && QStringLiteral("+-\u2212").contains(digits.at(0)))
        digits.remove(0, 1);
    return !digits.isEmpty() && std::all_of(digits.cbegin(), digits.cend(), isDigit);
}

} // namespace

int Protocol::numberIn(const QJsonValue &value)
{
    const QString text = value.toString();
    bool isInt = false;
    const int number = text.toInt(&isInt);
    return isInt || !isInteger(text) ? number : std::numeric_limits<int>::max();
}
