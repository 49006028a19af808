#include "confcheck.h"

#include "confkeys.h"
#include "healthprobe.h"
#include "jsontext.h"
#include "serverconf.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QUrl>

namespace {

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

bool hasScheme(const QString &address)
{
    static const QRegularExpression scheme(QStringLiteral("^[A-Za-z][A-Za-z0-9+.-]*://"));
    return scheme.match(address).hasMatch();
}

/// Why no probe of this base URL can succeed; empty when one can.
QString flawOf(const QString &base, const QString &healthPath)
{
    const QString separator = QStringLiteral("://");
    const QUrl url(base + healthPath, QUrl::TolerantMode);
    const bool isHttp =
        url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https");
    if (!url.isValid() || !isHttp || url.host().isEmpty())
        return QStringLiteral("no valid http:// or https:// URL: its probes fail");
    if (hasScheme(base.mid(base.indexOf(separator) + separator.size())))
        return QStringLiteral("two schemes: its probes fail");
    return {};
}

/// Any local program may choose any of them.
void checkServers(ConfCheck::Report &report)
{
    const QString healthPath = report.map.value(healthPathName).toString();
    const QVariantList servers = report.map.value(defaultUrlName).toList();
    for (int index = 0; index < servers.size(); ++index) {
        const QString entry = QStringLiteral("entry %1: ").arg(index);
        const QString server = servers.at(index).toString();
        const QString flaw = flawOf(server, healthPath);
        if (servers.at(index).type() != QVariant::String)
            report.faults.append({QStringLiteral("mistyped"), defaultUrlName,
                                  entry + QStringLiteral("not a string"), server});
        else if (!flaw.isEmpty())
            report.faults.append({QStringLiteral("bad-url"), defaultUrlName, entry + flaw});
    }
}

void checkCustomAddress(ConfCheck::Report &report)
{
    if (report.map.value(confDefaultName).toBool())
        return;
    const QString flaw =
        flawOf(ServerConf::serverUrl(report.map), report.map.value(healthPathName).toString());
    if (report.map.value(confCustomUrlName).toString().isEmpty())
        report.faults.append(
            {QStringLiteral("no-address"), confCustomUrlName, QStringLiteral("empty, but in use")});
    else if (!flaw.isEmpty())
        report.faults.append({QStringLiteral("bad-url"), confCustomUrlName, flaw});
}

/// With a custom address in use only one that is written is a fault.
void checkIndex(const QJsonObject &written, ConfCheck::Report &report)
{
    const int index = report.map.value(confDefaultIndexName).toInt();
    const bool counts =
        report.map.value(confDefaultName).toBool() || written.contains(confDefaultIndexName);
    if (counts && (index < 0 || index >= report.map.value(defaultUrlName).toList().size()))
        report.faults.append(
            {QStringLiteral("out-of-range"), confDefaultIndexName,
             QStringLiteral("no address in %1 has this index: no server").arg(defaultUrlName)});
}

void checkScheme(ConfCheck::Report &report)
{
    const int scheme = report.map.value(confCustomHeadindexName).toInt();
    if (scheme != 0 && scheme != 1)
        report.faults.append({QStringLiteral("out-of-range"), confCustomHeadindexName,
                              QStringLiteral("neither 0 nor 1: taken as https://")});
}

void checkHealthPath(ConfCheck::Report &report)
{
    if (!HealthProbe::isReply(QUrl(HealthProbe::url(ServerConf::serverUrl(report.map),
                                                    report.map.value(healthPathName).toString()),
                                   QUrl::TolerantMode)))
        report.faults.append(
            {QStringLiteral("no-probe"), healthPathName,
             QStringLiteral("the path of the probe URL does not end in /health: every probe "
                            "times out")});
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
    if (JsonText::hasDuplicateNames(content))
        report.faults.append({QStringLiteral("repeated"),
                              {},
                              QStringLiteral("a member is there twice: the last one counts")});
    compareMembers(document.object(), report);
    checkIndex(document.object(), report);
    checkServers(report);
    checkScheme(report);
    checkCustomAddress(report);
    checkHealthPath(report);
    return report;
}
