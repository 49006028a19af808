#include "protocol.h"

#include <QJsonValue>
#include <QRegularExpression>

#include <limits>

int Protocol::numberIn(const QJsonValue &value)
{
    // U+2212 is a minus to toInt().
    static const QRegularExpression integer(QStringLiteral("^[+\u2212-]?[0-9]+$"));
    const QString text = value.toString();
    bool isInt = false;
    const int number = text.toInt(&isInt);
    if (isInt || !integer.match(text.trimmed()).hasMatch())
        return number;
    return std::numeric_limits<int>::max();
}
