#include "commands.h"

#include "conffile.h"
#include "configuration.h"
#include "confkeys.h"
#include "daemonclient.h"
#include "jsontext.h"
#include "paths.h"
#include "regularfile.h"
#include "serverconf.h"

#include <QDeadlineTimer>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QUrl>

#include <cerrno>

#include <unistd.h>

namespace {

constexpr std::chrono::milliseconds kDaemonTimeout{1000};

struct FileFindings
{
    QVariantMap map; ///< as loaded; empty when the daemon would have no configuration
    QJsonArray absent; ///< members that take their default, which is normal
    QJsonArray faults;
    std::optional<QByteArray> notCompared; ///< why not, for the daemon's file; empty if it was

    QString probeUrl(const QString &base) const
    {
        return base.isEmpty() ? base : base + map.value(healthPathName).toString();
    }

    /// The member is empty for a fault of the whole file; used is what the daemon uses, if known.
    void fault(const char *kind, const QString &member, const QByteArray &message,
               const QJsonValue &used = QJsonValue::Undefined)
    {
        // Qt inserts no member that is undefined.
        const QJsonValue name = member.isEmpty() ? QJsonValue(QJsonValue::Undefined) : member;
        faults.append(QJsonObject{{QStringLiteral("kind"), QLatin1String(kind)},
                                  {QStringLiteral("member"), name},
                                  {QStringLiteral("message"), QString::fromUtf8(message)},
                                  {QStringLiteral("used"), used}});
    }
};

void compareMembers(const QJsonObject &written, FileFindings &findings)
{
    const QByteArrayList byType{"", "not true or false", "not a whole number of 32 bits",
                                "not a string", "not a list"}; // as QJsonValue::Type
    for (auto entry = findings.map.cbegin(); entry != findings.map.cend(); ++entry) {
        const QJsonValue used = QJsonValue::fromVariant(entry.value());
        if (!written.contains(entry.key()))
            findings.absent.append(QJsonObject{{QStringLiteral("kind"), QStringLiteral("absent")},
                                               {QStringLiteral("member"), entry.key()},
                                               {QStringLiteral("used"), used}});
        else if (written.value(entry.key()) != used)
            findings.fault("mistyped", entry.key(), byType.value(used.type()), used);
    }
    const QStringList names = written.keys();
    for (const QString &name : names) {
        if (!findings.map.contains(name))
            findings.fault("unknown", name, "not known: ignored, and removed by the next choice");
    }
}

/// What is wrong with a server's address; empty if nothing.
QByteArray flawOf(const QString &base)
{
    static const QRegularExpression twoSchemes(QStringLiteral("^[^/]*://[A-Za-z][\\w+.-]*://"));
    // QUrl would need minutes for a long host, which DNS does not allow.
    static const QRegularExpression longHost(QStringLiteral("^[^/?#]*//(?:[^/?#]*@)?[^/?#:]{254}"));
    if (longHost.match(base).hasMatch())
        return "the host has more than 253 characters: its probes fail";
    const QUrl url(base, QUrl::TolerantMode);
    const bool isHttp =
        url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https");
    if (!url.isValid() || !isHttp || url.host().isEmpty())
        return "not a valid http:// or https:// URL: its probes fail";
    if (twoSchemes.match(base).hasMatch())
        return "two schemes: its probes fail";
    if (url.hasQuery() || url.hasFragment())
        return "a query or a fragment, and healthPath becomes part of it";
    return base.endsWith(QLatin1Char('/')) ? "a slash at the end, and healthPath adds another" : "";
}

void checkHealthPath(FileFindings &findings)
{
    const QString path = findings.map.value(healthPathName).toString();
    // Without a path, the address can have it.
    const QString base =
        path.isEmpty() ? ServerConf::serverUrl(findings.map) : QStringLiteral("http://h");
    if (!path.isEmpty() && !path.startsWith(QLatin1Char('/')))
        findings.fault("bad-path", healthPathName,
                       "no slash at the start: the probe goes to another host or port");
    else if (flawOf(base).isEmpty() && !ServerConf::isProbe(QUrl(findings.probeUrl(base))))
        findings.fault("no-probe", healthPathName,
                       "the path of the probe URL does not end in /health: every probe times out");
}

/// Checks all default servers, because any local program may choose any of them.
void checkAddresses(FileFindings &findings)
{
    const QVariantList servers = findings.map.value(defaultUrlName).toList();
    for (int index = 0; index < servers.size(); ++index) {
        const QByteArray entry = "entry " + QByteArray::number(index) + ": ";
        const QString server = servers.at(index).toString();
        const QByteArray flaw = flawOf(server);
        if (servers.at(index).type() != QVariant::String)
            findings.fault("mistyped", defaultUrlName, entry + "not a string", server);
        else if (!flaw.isEmpty())
            findings.fault("bad-url", defaultUrlName, entry + flaw);
    }
    if (findings.map.value(confDefaultName).toBool())
        return;
    const QByteArray flaw = flawOf(ServerConf::serverUrl(findings.map));
    if (findings.map.value(confCustomUrlName).toString().isEmpty())
        findings.fault("no-address", confCustomUrlName, "empty, but in use");
    else if (!flaw.isEmpty())
        findings.fault("bad-url", confCustomUrlName, flaw);
}

void checkIndices(const QJsonObject &written, FileFindings &findings)
{
    const bool usesDefault = findings.map.value(confDefaultName).toBool();
    const int index = findings.map.value(confDefaultIndexName).toInt();
    const int count = findings.map.value(defaultUrlName).toList().size();
    // With a custom address in use, a missing index is not a fault.
    if ((index < 0 || index >= count) && (usesDefault || written.contains(confDefaultIndexName)))
        findings.fault("out-of-range", confDefaultIndexName,
                       "no address in defaultUrl has this index: no server");
    const int scheme = findings.map.value(confCustomHeadindexName).toInt();
    if (scheme != 0 && scheme != 1)
        findings.fault("out-of-range", confCustomHeadindexName,
                       "neither 0 nor 1: taken as https://");
}

FileFindings findingsIn(const QByteArray &content)
{
    const QJsonDocument document = QJsonDocument::fromJson(content);
    FileFindings findings{ServerConf::parse(content).map, {}, {}, {}};
    if (findings.map.isEmpty()) {
        findings.fault("no-configuration", {}, Configuration::faultIn(content));
        return findings;
    }
    if (!document.isObject())
        findings.fault("mistyped", {}, "the document is not an object");
    if (JsonText::hasDuplicateNames(content))
        findings.fault("repeated", {}, "a member name appears twice; the last one counts");
    compareMembers(document.object(), findings);
    checkIndices(document.object(), findings);
    checkAddresses(findings);
    checkHealthPath(findings);
    return findings;
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

QByteArray textOf(const FileFindings &findings)
{
    const Configuration configuration(findings.map);
    const QString server = configuration.serverInUse();
    QByteArray text = "Would use:     " + configuration.serverText() + '\n';
    if (!server.isEmpty())
        text += "Probe URL:     " + Output::escaped(findings.probeUrl(server).toUtf8()) + '\n';
    if (!findings.absent.isEmpty())
        text += "Absent (not a fault):\n" + linesOf(findings.absent);
    if (findings.notCompared) {
        const QByteArray reason = Output::escaped(*findings.notCompared);
        text += "Not compared with the daemon: "
                + (reason.isEmpty() ? "healthPath; restart it after you edit that" : reason) + '\n';
    }
    text += findings.faults.isEmpty() ? "No fault found.\n" : "Wrong:\n";
    return text + linesOf(findings.faults);
}

QJsonObject jsonOf(const FileFindings &findings, const Verdict &verdict)
{
    const QString server = Configuration(findings.map).serverInUse();
    return verdict.toJson(
        {{QStringLiteral("configuration"), QJsonObject::fromVariantMap(findings.map)},
         {QStringLiteral("serverInUse"), Output::orNull(server.toUtf8())},
         {QStringLiteral("probeUrl"), Output::orNull(findings.probeUrl(server).toUtf8())},
         {QStringLiteral("absent"), findings.absent},
         {QStringLiteral("faults"), findings.faults},
         {QStringLiteral("notCompared"), Output::orNull(findings.notCompared.value_or(""))}});
}

} // namespace

ExitStatus Commands::check(const Options &options)
{
    const QString path = options.argument.isEmpty() ? Paths::configuration : options.argument;
    Verdict verdict;
    const auto content = read(path, verdict);
    if (!content)
        return Output::conclude(verdict, options.json);

    FileFindings findings = findingsIn(*content);
    if (path != QLatin1String("-") && QFileInfo(path) == QFileInfo(Paths::configuration)) {
        const Reply reply = DaemonClient::ask(QDeadlineTimer(kDaemonTimeout), false);
        findings.notCompared = reply.verdict.message;
        const FileComparison file =
            reply.configuration ? reply.configuration->compareWithFile() : FileComparison();
        if (file.differs.value_or(false))
            findings.fault("not-loaded", {}, file.advice);
    }
    if (!findings.faults.isEmpty())
        verdict = {ExitStatus::Failed, "faulty", path.toUtf8() + " has faults"};
    Output::print(options.json ? Output::jsonLine(jsonOf(findings, verdict)) : textOf(findings));
    return verdict.status;
}
