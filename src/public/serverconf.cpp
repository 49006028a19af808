#include "serverconf.h"

#include "confkeys.h"
#include "jsontext.h"
#include "serverurls.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>
#include <QUrl>

namespace {

QVariantMap defaults()
{
    return {
        {confDefaultName, true},
        {confDefaultIndexName, 0},
        {confCustomHeadindexName, 0},
        {confCustomUrlName, QString()},
        {healthPathName, QStringLiteral("/v1/harbor/health")},
        {defaultUrlName, QVariantList{QString(MainServer), QString(Main1Server)}},
    };
}

/// Converts the member to the type of the key's default. A fraction becomes 0.
QVariant memberLike(const QVariant &fallback, const QJsonValue &member)
{
    switch (static_cast<QMetaType::Type>(fallback.type())) {
    case QMetaType::Bool:
        return member.toBool();
    case QMetaType::Int:
        return member.toInt();
    case QMetaType::QVariantList:
        return member.toArray().toVariantList();
    default:
        return member.toString();
    }
}

} // namespace

ServerConf::Parsed ServerConf::parse(const QByteArray &content)
{
    QJsonParseError error = {};
    const QJsonDocument document = QJsonDocument::fromJson(content, &error);
    if (error.error != QJsonParseError::NoError || JsonText::isEmpty(document))
        return {{}, error.errorString()};

    const QJsonObject object = document.object();
    QVariantMap map = defaults();
    for (auto entry = map.begin(); entry != map.end(); ++entry) {
        if (object.contains(entry.key()))
            *entry = memberLike(*entry, object.value(entry.key()));
    }
    return {map, {}};
}

QByteArray ServerConf::toFileContent(const QVariantMap &map)
{
    return QJsonDocument(QJsonObject::fromVariantMap(map)).toJson(QJsonDocument::Indented);
}

QVariantMap ServerConf::toReply(const QVariantMap &map)
{
    return {
        {confDefaultName, map.value(confDefaultName, 0)},
        {confDefaultIndexName, map.value(confDefaultIndexName, 0)},
        {confCustomHeadindexName, map.value(confCustomHeadindexName, 0)},
        {confCustomUrlName, map.value(confCustomUrlName, QString())},
        {defaultUrlName, map.value(defaultUrlName).toStringList()},
    };
}

QString ServerConf::serverUrl(const QVariantMap &map)
{
    if (map.value(confDefaultName, true).toBool())
        return map.value(defaultUrlName)
            .toStringList()
            .value(map.value(confDefaultIndexName).toInt());

    const bool isPlain = map.value(confCustomHeadindexName).toInt() == 1;
    const QLatin1String scheme(isPlain ? "http://" : "https://");
    return scheme + map.value(confCustomUrlName).toString();
}

bool ServerConf::isProbe(const QUrl &url)
{
    return url.fileName(QUrl::FullyDecoded) == QLatin1String("health");
}
