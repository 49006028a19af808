#include "checkcommand.h"

#include "confcheck.h"
#include "conffile.h"
#include "configcommands.h"
#include "confkeys.h"
#include "fileaccess.h"
#include "healthprobe.h"
#include "options.h"
#include "output.h"
#include "serverconf.h"
#include "terminaltext.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cerrno>

#include <unistd.h>

namespace {

using ConfCheck::Finding;

QString whyUnread(const QString &path)
{
    if (::access(QFile::encodeName(path).constData(), R_OK) != 0)
        return FileAccess::refusal(path, errno);
    return QStringLiteral("cannot read %1: not a regular file of at most 1 MiB").arg(path);
}

ExitStatus unreadable(const Options &options)
{
    const QString reason = whyUnread(options.configurationFile);
    if (options.json)
        Output::print(ConfigCommands::failureDocument(ExitStatus::Refused,
                                                      QStringLiteral("unreadable"), reason));
    Output::complain(reason);
    return ExitStatus::Refused;
}

QByteArray shown(const QString &text)
{
    return TerminalText::escaped(text.toUtf8());
}

QByteArray shown(const QJsonValue &value)
{
    const QByteArray list = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return TerminalText::escaped(list.mid(1, list.size() - 2));
}

QByteArray listOf(const char *heading, const QVector<Finding> &findings)
{
    QByteArray text = findings.isEmpty() ? QByteArray() : QByteArray(heading) + '\n';
    for (const Finding &finding : findings) {
        QByteArrayList parts;
        if (!finding.member.isEmpty())
            parts.append(shown(finding.member));
        if (!finding.words.isEmpty())
            parts.append(shown(finding.words));
        if (!finding.value.isUndefined())
            parts.append(shown(finding.value) + " is used");
        text += "  " + parts.join(": ") + '\n';
    }
    return text;
}

bool hasServer(const QVariantMap &map)
{
    return map.value(confDefaultName).toBool() ? !ServerConf::serverUrl(map).isEmpty()
                                               : !map.value(confCustomUrlName).toString().isEmpty();
}

QString probeUrl(const QVariantMap &map)
{
    return HealthProbe::url(ServerConf::serverUrl(map), map.value(healthPathName).toString());
}

QByteArray headlineOf(const QVariantMap &map)
{
    if (!hasServer(map))
        return "The daemon would run without a server.\n";
    const QByteArray kind =
        map.value(confDefaultName).toBool()
            ? "default server " + QByteArray::number(map.value(confDefaultIndexName).toInt())
            : QByteArrayLiteral("custom address");
    return "Server in use: " + shown(ServerConf::serverUrl(map)) + " (" + kind
           + ")\nProbe URL:     " + shown(probeUrl(map)) + '\n';
}

QJsonArray arrayOf(const QVector<Finding> &findings)
{
    QJsonArray array;
    for (const Finding &finding : findings) {
        QJsonObject object{{QStringLiteral("kind"), finding.kind}};
        if (!finding.member.isEmpty())
            object.insert(QStringLiteral("member"), finding.member);
        if (!finding.words.isEmpty())
            object.insert(QStringLiteral("message"), finding.words);
        if (!finding.value.isUndefined())
            object.insert(QStringLiteral("used"), finding.value);
        array.append(object);
    }
    return array;
}

QByteArray documentOf(const ConfCheck::Report &report, ExitStatus status)
{
    const auto orNull = [](const QString &text) {
        return text.isEmpty() ? QJsonValue() : QJsonValue(text);
    };
    const QVariantMap &map = report.map;
    const bool isServed = hasServer(map);
    return Output::jsonLine({
        {QStringLiteral("ok"), status == ExitStatus::Done},
        {QStringLiteral("status"), static_cast<int>(status)},
        {QStringLiteral("configuration"), QJsonObject::fromVariantMap(map)},
        {QStringLiteral("serverInUse"), orNull(isServed ? ServerConf::serverUrl(map) : QString())},
        {QStringLiteral("probeUrl"), orNull(isServed ? probeUrl(map) : QString())},
        {QStringLiteral("absent"), arrayOf(report.absent)},
        {QStringLiteral("faults"), arrayOf(report.faults)},
    });
}

QByteArray textOf(const ConfCheck::Report &report)
{
    return headlineOf(report.map) + listOf("Absent, which is no fault:", report.absent)
           + (report.faults.isEmpty() ? "Nothing is wrong.\n" : listOf("Wrong:", report.faults));
}

} // namespace

ExitStatus CheckCommand::run(const Options &options)
{
    const std::optional<QByteArray> content = ConfFile(options.configurationFile).read();
    if (!content)
        return unreadable(options);
    const ConfCheck::Report report = ConfCheck::of(*content);
    const ExitStatus status = report.faults.isEmpty() ? ExitStatus::Done : ExitStatus::Refused;
    return Output::print(options.json ? documentOf(report, status) : textOf(report))
               ? status
               : ExitStatus::Refused;
}
