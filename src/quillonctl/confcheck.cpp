#include "confcheck.h"

#include "confkeys.h"
#include "jsontext.h"
#include "serverconf.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QUrl>

namespace {

using ConfCheck::Finding;

QString typeLike(const QVariant &loaded)
{
    switch (static_cast<QMetaType::Type>(loaded.type())) {
    case QMetaType::Bool:
        return QStringLiteral("true or false");
    case QMetaType::Int:
        return QStringLiteral("a whole number of 32 bits");
    case QMetaType::QVariantList:
        return QStringLiteral("a list");
    default:
        return QStringLiteral("a string");
    }
}

/// What the daemon reads unlike it is written, or not at all.
void compareMembers(const QJsonObject &written, ConfCheck::Report &report)
{
    for (auto entry = report.map.cbegin(); entry != report.map.cend(); ++entry) {
        const QJsonValue used = QJsonValue::fromVariant(entry.value());
        if (!written.contains(entry.key()))
            report.absent.append({QStringLiteral("absent"), entry.key(), {}, used});
        else if (written.value(entry.key()) != used)
            report.faults.append({QStringLiteral("mistyped"), entry.key(),
                                  QStringLiteral("not ") + typeLike(entry.value()), used});
    }
    for (auto entry = written.begin(); entry != written.end(); ++entry) {
        if (!report.map.contains(entry.key()))
            report.faults.append(
                {QStringLiteral("unknown"), entry.key(),
                 QStringLiteral("not known: ignored, and gone with the next choice of a server")});
    }
}

void checkServers(ConfCheck::Report &report)
{
    const QVariantList servers = report.map.value(defaultUrlName).toList();
    for (int index = 0; index < servers.size(); ++index) {
        if (servers.at(index).type() != QVariant::String)
            report.faults.append({QStringLiteral("mistyped"), defaultUrlName,
                                  QStringLiteral("entry %1 is not a string").arg(index),
                                  servers.at(index).toString()});
    }
}

void checkScheme(ConfCheck::Report &report)
{
    const int scheme = report.map.value(confCustomHeadindexName).toInt();
    if (scheme != 0 && scheme != 1)
        report.faults.append({QStringLiteral("out-of-range"), confCustomHeadindexName,
                              QStringLiteral("neither 0 nor 1: taken as https://")});
}

bool hasScheme(const QString &address)
{
    static const QRegularExpression scheme(QStringLiteral("^[A-Za-z][A-Za-z0-9+.-]*://"));
    return scheme.match(address).hasMatch();
}

/// What is amiss with the server in use; nothing when its probes can succeed.
QVector<Finding> faultsInUse(const QVariantMap &map)
{
    const bool usesDefault = map.value(confDefaultName).toBool();
    const QLatin1String member = usesDefault ? defaultUrlName : confCustomUrlName;
    if (ServerConf::serverUrl(map).isEmpty())
        return {{QStringLiteral("out-of-range"), confDefaultIndexName,
                 QStringLiteral("no address in %1 has this index").arg(defaultUrlName)}};
    if (!usesDefault && map.value(confCustomUrlName).toString().isEmpty())
        return {{QStringLiteral("no-address"), member, QStringLiteral("empty, but in use")}};

    const QUrl url(ServerConf::probeUrl(map), QUrl::TolerantMode);
    const bool isHttp =
        url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https");
    if (!url.isValid() || !isHttp || url.host().isEmpty())
        return {{QStringLiteral("bad-url"), member,
                 QStringLiteral("the probe URL is no http:// or https:// URL: probes fail")}};
    if (!usesDefault && hasScheme(map.value(confCustomUrlName).toString()))
        return {{QStringLiteral("bad-url"), member, QStringLiteral("has a scheme of its own")}};
    if (!ServerConf::isProbe(url))
        return {{QStringLiteral("no-probe"), healthPathName,
                 QStringLiteral("the path of the probe URL does not end in /health: every probe "
                                "times out")}};
    return {};
}

QString emptiness(const QString &error, const QJsonDocument &document)
{
    return document.isNull() ? QStringLiteral("no JSON: %1").arg(error)
                             : QStringLiteral("empty: it has no member");
}

} // namespace

ConfCheck::Report ConfCheck::of(const QByteArray &content)
{
    const ServerConf::Parsed parsed = ServerConf::parse(content);
    const QJsonDocument document = QJsonDocument::fromJson(content);
    Report report{parsed.map, {}, {}};
    if (report.map.isEmpty()) {
        report.faults.append(
            {QStringLiteral("no-configuration"), {}, emptiness(parsed.error, document)});
        return report;
    }
    if (!document.isObject())
        report.faults.append(
            {QStringLiteral("mistyped"), {}, QStringLiteral("the document is not an object")});
    if (JsonText::hasTwins(content))
        report.faults.append({QStringLiteral("repeated"),
                              {},
                              QStringLiteral("a member is there twice: the last one counts")});
    compareMembers(document.object(), report);
    checkServers(report);
    checkScheme(report);
    report.faults += faultsInUse(report.map);
    return report;
}
