#include "commands.h"

#include "conffile.h"
#include "configuration.h"
#include "confkeys.h"
#include "daemonclient.h"
#include "healthprobe.h"
#include "jsontext.h"
#include "paths.h"
#include "regularfile.h"
#include "serverconf.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QUrl>

#include <cerrno>

#include <unistd.h>

namespace {

constexpr std::chrono::milliseconds kDaemonTimeout{1000};

struct Report
{
    QVariantMap map; ///< as loaded; empty when the daemon would have no configuration
    QJsonArray absent; ///< members that take their default, which is normal
    QJsonArray faults;
    QByteArray notCompared; ///< why the daemon could not be asked what it has; else empty

    QString probeUrl(const QString &base) const
    {
        return base + map.value(healthPathName).toString();
    }

    /// @param member empty when the fault does not concern a single member
    /// @param used the value that the daemon uses instead, if any
    void fault(const char *kind, const QString &member, const QByteArray &message,
               const QJsonValue &used = QJsonValue::Undefined)
    {
        QJsonObject object{{QStringLiteral("kind"), QLatin1String(kind)},
                           {QStringLiteral("message"), QString::fromUtf8(message)}};
        object.insert(QStringLiteral("used"), used); // nothing when it is undefined
        if (!member.isEmpty())
            object.insert(QStringLiteral("member"), member);
        faults.append(object);
    }
};

void compareMembers(const QJsonObject &written, Report &report)
{
    const QByteArrayList byType{"", "not true or false", "not a whole number of 32 bits",
                                "not a string", "not a list"}; // as QJsonValue::Type
    for (auto entry = report.map.cbegin(); entry != report.map.cend(); ++entry) {
        const QJsonValue used = QJsonValue::fromVariant(entry.value());
        if (!written.contains(entry.key()))
            report.absent.append(QJsonObject{{QStringLiteral("kind"), QStringLiteral("absent")},
                                             {QStringLiteral("member"), entry.key()},
                                             {QStringLiteral("used"), used}});
        else if (written.value(entry.key()) != used)
            report.fault("mistyped", entry.key(), byType.value(used.type()), used);
    }
    const QStringList names = written.keys();
    for (const QString &name : names) {
        if (!report.map.contains(name))
            report.fault("unknown", name, "not known: ignored, and removed by the next choice");
    }
}

/// Checks whether a probe of this base URL can succeed.
void checkUrl(const QString &base, QLatin1String member, const QByteArray &label, Report &report)
{
    static const QRegularExpression twoSchemes(QStringLiteral("^[^/]*://[A-Za-z][\\w+.-]*://"));
    const QUrl url(report.probeUrl(base), QUrl::TolerantMode);
    const bool isHttp =
        url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https");
    if (!url.isValid() || !isHttp || url.host().isEmpty())
        report.fault("bad-url", member,
                     label + "not a valid http:// or https:// URL: its probes fail");
    else if (twoSchemes.match(base).hasMatch())
        report.fault("bad-url", member, label + "two schemes: its probes fail");
}

/// Checks all default servers, because any local program may choose any of them.
void checkAddresses(Report &report)
{
    const QVariantList servers = report.map.value(defaultUrlName).toList();
    for (int index = 0; index < servers.size(); ++index) {
        const QByteArray entry = "entry " + QByteArray::number(index) + ": ";
        const QString server = servers.at(index).toString();
        if (servers.at(index).type() != QVariant::String)
            report.fault("mistyped", defaultUrlName, entry + "not a string", server);
        else
            checkUrl(server, defaultUrlName, entry, report);
    }
    if (report.map.value(confDefaultName).toBool())
        return;
    if (report.map.value(confCustomUrlName).toString().isEmpty())
        report.fault("no-address", confCustomUrlName, "empty, but in use");
    else
        checkUrl(ServerConf::serverUrl(report.map), confCustomUrlName, {}, report);
}

void checkIndices(const QJsonObject &written, Report &report)
{
    const bool usesDefault = report.map.value(confDefaultName).toBool();
    const int index = report.map.value(confDefaultIndexName).toInt();
    const int count = report.map.value(defaultUrlName).toList().size();
    // With a custom address in use, a missing index is not a fault.
    if ((index < 0 || index >= count) && (usesDefault || written.contains(confDefaultIndexName)))
        report.fault("out-of-range", confDefaultIndexName,
                     "no address in defaultUrl has this index: no server");
    const int scheme = report.map.value(confCustomHeadindexName).toInt();
    if (scheme != 0 && scheme != 1)
        report.fault("out-of-range", confCustomHeadindexName, "neither 0 nor 1: taken as https://");
}

Report reportOn(const QByteArray &content)
{
    const ServerConf::Parsed parsed = ServerConf::parse(content);
    const QJsonDocument document = QJsonDocument::fromJson(content);
    Report report{parsed.map, {}, {}, {}};
    if (report.map.isEmpty()) {
        report.fault("no-configuration", {},
                     document.isNull() ? "not valid JSON: " + parsed.error.toUtf8()
                                       : "empty: it has no member");
        return report;
    }
    if (!document.isObject())
        report.fault("mistyped", {}, "the document is not an object");
    if (JsonText::DuplicateNames().add(content))
        report.fault("repeated", {}, "a member name appears twice; the last one counts");
    compareMembers(document.object(), report);
    checkIndices(document.object(), report);
    checkAddresses(report);
    const QString probeUrl = report.probeUrl(ServerConf::serverUrl(report.map));
    if (!HealthProbe::isReply(QUrl(probeUrl, QUrl::TolerantMode)))
        report.fault("no-probe", healthPathName,
                     "the path of the probe URL does not end in /health: every probe times out");
    return report;
}

/// Returns nothing when the file is unreadable or too large, and sets the verdict.
std::optional<QByteArray> read(const QString &path, Verdict &verdict)
{
    std::optional<QByteArray> content;
    QFile input;
    if (path != QLatin1String("-"))
        content = ConfFile(path).read();
    else if (input.open(STDIN_FILENO, QIODevice::ReadOnly))
        content = input.read(RegularFile::kMaxBytes + 1);
    if (content && content->size() <= RegularFile::kMaxBytes)
        return content;
    const bool isOpenable = ::access(QFile::encodeName(path).constData(), R_OK) == 0;
    verdict = Output::unreadable(path, errno);
    if (content || isOpenable)
        verdict.message = "cannot read " + path.toUtf8() + ": not a file of at most 1 MiB";
    return {};
}

QByteArray linesOf(const QJsonArray &findings)
{
    QByteArray text;
    for (const QJsonValue &finding : findings) {
        const QString member = finding[QStringLiteral("member")].toString();
        const QString message = finding[QStringLiteral("message")].toString();
        QByteArrayList parts{Output::escaped(member.toUtf8()), Output::escaped(message.toUtf8())};
        const QJsonValue used = finding[QStringLiteral("used")];
        const QByteArray list = QJsonDocument(QJsonArray{used}).toJson(QJsonDocument::Compact);
        if (!used.isUndefined())
            parts.append(Output::escaped(list.mid(1, list.size() - 2)) + " is used");
        parts.removeAll({});
        text += "  " + parts.join(": ") + '\n';
    }
    return text;
}

QByteArray textOf(const Report &report)
{
    const Configuration configuration(report.map);
    const QString server = configuration.serverInUse();
    QByteArray text = "Server in use: " + configuration.serverText() + '\n';
    if (!server.isEmpty())
        text += "Probe URL:     " + Output::escaped(report.probeUrl(server).toUtf8()) + '\n';
    if (!report.absent.isEmpty())
        text += "Absent (not a fault):\n" + linesOf(report.absent);
    if (!report.notCompared.isEmpty())
        text += "Not compared with the daemon: " + Output::escaped(report.notCompared) + '\n';
    text += report.faults.isEmpty() ? "Nothing is wrong.\n" : "Wrong:\n";
    return text + linesOf(report.faults);
}

QJsonObject jsonOf(const Report &report, const Verdict &verdict)
{
    const QString server = Configuration(report.map).serverInUse();
    const QString probe = server.isEmpty() ? QString() : report.probeUrl(server);
    return verdict.toJson(
        {{QStringLiteral("configuration"), QJsonObject::fromVariantMap(report.map)},
         {QStringLiteral("serverInUse"), Output::orNull(server.toUtf8())},
         {QStringLiteral("probeUrl"), Output::orNull(probe.toUtf8())},
         {QStringLiteral("absent"), report.absent},
         {QStringLiteral("faults"), report.faults},
         {QStringLiteral("notCompared"), Output::orNull(report.notCompared)}});
}

} // namespace

ExitStatus Commands::check(const Options &options)
{
    const QString path = options.argument.value_or(Paths::configuration);
    Verdict verdict;
    const auto content = read(path, verdict);
    if (!content)
        return Output::conclude(verdict, options.json);

    Report report = reportOn(*content);
    if (path != QLatin1String("-") && QFileInfo(path) == QFileInfo(Paths::configuration)) {
        const Reply reply = DaemonClient::ask(QDeadlineTimer(kDaemonTimeout), false);
        report.notCompared = reply.verdict.message;
        if (reply.configuration && reply.configuration->differsFromFile().value_or(false))
            report.fault("not-loaded", {}, reply.configuration->differenceText());
    }
    if (!report.faults.isEmpty())
        verdict = {ExitStatus::Failed, "faulty", path.toUtf8() + " has faults"};
    Output::print(options.json ? Output::jsonLine(jsonOf(report, verdict)) : textOf(report));
    return verdict.status;
}
