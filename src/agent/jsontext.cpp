#include "jsontext.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

bool JsonText::isEmpty(const QJsonDocument &document)
{
    return document.object().isEmpty() && document.array().isEmpty();
}
