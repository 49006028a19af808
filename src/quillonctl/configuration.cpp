#include "configuration.h"

#include "conffile.h"
#include "confkeys.h"
#include "jsontext.h"
#include "output.h"
#include "paths.h"
#include "serverconf.h"

#include <QJsonDocument>

namespace {

/// Whether the daemon sends this message when it has loaded this map.
bool isReply(const QJsonObject &message, const QVariantMap &map)
{
    const QJsonObject reply = QJsonObject::fromVariantMap(ServerConf::toReply(map));
    for (auto member = reply.begin(); member != reply.end(); ++member) {
        if (message.value(member.key()) != member.value())
            return false;
    }
    return true;
}

/// Qt's other texts name what it looked for, which is often not what is missing.
bool hasFittingText(QJsonParseError::ParseError error)
{
    return error == QJsonParseError::IllegalEscapeSequence
           || error == QJsonParseError::IllegalUTF8String || error == QJsonParseError::DeepNesting;
}

/// What is wrong with a text that is not JSON, and where.
QByteArray jsonFaultIn(const QByteArray &text)
{
    constexpr int longestCharacter = 4;
    QJsonParseError error = {};
    // One more byte, so that Qt finds something unexpected if the text ends too early.
    QJsonDocument::fromJson(text + '\x1', &error);
    // Qt is behind the unexpected character, unless it looked for a number.
    const bool isBefore = error.error == QJsonParseError::IllegalNumber
                          || error.error == QJsonParseError::TerminationByNumber;
    const QByteArray before = text.left(isBefore ? error.offset : error.offset - 1);
    const QByteArray line = before.mid(before.lastIndexOf('\n') + 1);
    const QByteArray rest = text.mid(before.size(), longestCharacter);
    QByteArray reason = "unexpected '" + QString::fromUtf8(rest).left(1).toUtf8() + '\'';
    if (rest.isEmpty())
        reason = "unexpected end";
    else if (hasFittingText(error.error))
        reason = error.errorString().toUtf8();
    return "not valid JSON at line " + QByteArray::number(before.count('\n') + 1) + ", column "
           + QByteArray::number(QString::fromUtf8(line).size() + 1) + ": " + reason;
}

} // namespace

std::optional<Configuration> Configuration::fromMessage(const QJsonObject &message)
{
    const QVariantMap loaded = ServerConf::parse(QJsonDocument(message).toJson()).map;
    for (const QVariantMap &map : {QVariantMap(), loaded}) {
        if (isReply(message, map))
            return Configuration(map);
    }
    return {};
}

QByteArray Configuration::faultIn(const QByteArray &content)
{
    QJsonParseError error = {};
    const QJsonDocument document = QJsonDocument::fromJson(content, &error);
    if (error.error != QJsonParseError::NoError)
        return jsonFaultIn(content);
    return JsonText::isEmpty(document) ? "empty: it has no member" : "";
}

FileComparison Configuration::compareWithFile() const
{
    const ConfFile file(Paths::configuration);
    const auto content = file.read();
    const QByteArray fault =
        content ? faultIn(*content) : QByteArray(file.exists() ? "cannot be read" : "missing");
    if (!fault.isEmpty() && !isLoaded())
        return {content ? false : std::optional<bool>(),
                fault
                    + "; see the example in 'man quillon-agent.json', run 'quillonctl check', "
                      "then restart the daemon"};
    if (!content)
        return {{}, fault};
    if (!fault.isEmpty())
        return {true, fault
                          + "; the daemon goes on with what it has loaded; repair the file before "
                            "a restart"};
    if (*this == Configuration(ServerConf::parse(*content).map))
        return {false, {}};
    return {true, differenceText()};
}

QByteArray Configuration::differenceText() const
{
    const QByteArray text = "the running daemon has another configuration; restart it";
    const bool canChoose = !m_map.value(defaultUrlName).toStringList().isEmpty();
    return canChoose ? text + ", or the next choice overwrites this file" : text;
}

QString Configuration::serverInUse() const
{
    const bool isEmptyCustom = !m_map.value(confDefaultName).toBool()
                               && m_map.value(confCustomUrlName).toString().isEmpty();
    return isEmptyCustom ? QString() : ServerConf::serverUrl(m_map);
}

int Configuration::chosenIndex() const
{
    const bool isDefault = m_map.value(confDefaultName).toBool();
    return isDefault ? m_map.value(confDefaultIndexName).toInt() : -1;
}

QByteArray Configuration::serverText() const
{
    const QByteArray server = Output::escaped(serverInUse().toUtf8());
    const QByteArray index = m_map.value(confDefaultIndexName).toByteArray();
    const bool isDefault = m_map.value(confDefaultName).toBool();
    const QByteArray choice = isDefault ? "default server " + index : "custom address";
    if (!server.isEmpty())
        return server + " (" + choice + ')';
    return m_map.isEmpty() ? "none (no configuration)" : "none (" + choice + " missing or empty)";
}

QJsonObject Configuration::toJson() const
{
    QJsonObject document = QJsonObject::fromVariantMap(ServerConf::toReply(m_map));
    document.insert(confDefaultName, m_map.value(confDefaultName).toBool());
    document.insert(QStringLiteral("loaded"), !m_map.isEmpty());
    return document;
}

QByteArray Configuration::toText() const
{
    QByteArray text = "In use: " + serverText() + '\n';
    if (m_map.isEmpty())
        text += "Run 'quillonctl check', then restart the daemon.\n";
    const QStringList servers = m_map.value(defaultUrlName).toStringList();
    if (!servers.isEmpty())
        text += "Default servers:\n";
    for (int index = 0; index < servers.size(); ++index) {
        const QByteArray server = Output::escaped(servers.at(index).toUtf8());
        text += index == chosenIndex() ? "* " : "  ";
        text += QByteArray::number(index) + "  " + server + '\n';
    }
    return text;
}
