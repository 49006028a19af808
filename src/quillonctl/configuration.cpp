#include "configuration.h"

#include "conffile.h"
#include "output.h"
#include "paths.h"
#include "serverconf.h"

#include <QJsonDocument>

#include <algorithm>
#include <cerrno>

#include <unistd.h>

namespace {

/// The position of the first character that is not JSON.
int endOfJson(const QByteArray &text)
{
    QJsonParseError error = {};
    // One more byte, so that Qt finds something unexpected if the text ends too early.
    QJsonDocument::fromJson(text + '\x1', &error);
    if (error.error == QJsonParseError::IllegalNumber
        || error.error == QJsonParseError::TerminationByNumber
        || error.error == QJsonParseError::IllegalUTF8String
        || error.error == QJsonParseError::GarbageAtEnd)
        return error.offset;
    // Qt has read the character, and perhaps the blanks after it.
    int end = error.offset - 1;
    while (end > 0 && end < text.size() && QByteArray(" \t\r\n").contains(text.at(end)))
        --end;
    return end;
}

/// The position and the character for people.
QByteArray placeText(const QByteArray &text, int position)
{
    constexpr int longestCharacter = 4;
    const QByteArray before = text.left(position);
    const QString line = QString::fromUtf8(before.mid(before.lastIndexOf('\n') + 1));
    const auto next = QString::fromUtf8(text.mid(position, longestCharacter)).toUcs4();
    const QByteArray shown = QString::fromUcs4(next.constData(), 1).toUtf8();
    return "line " + QByteArray::number(before.count('\n') + 1) + ", column "
           + QByteArray::number(line.size() + 1) + ": unexpected "
           + (next.isEmpty() ? QByteArray("end") : '\'' + shown + '\'');
}

} // namespace

std::optional<Configuration> Configuration::fromMessage(const QJsonObject &message)
{
    const QVariantMap loaded = ServerConf::parse(QJsonDocument(message).toJson()).map;
    for (const QVariantMap &map : {QVariantMap(), loaded}) {
        // What the daemon sends when it has loaded this map.
        const QJsonObject reply = QJsonObject::fromVariantMap(ServerConf::toReply(map));
        const QStringList names = reply.keys();
        const auto agrees = [&](const QString &name) { return message[name] == reply[name]; };
        if (std::all_of(names.begin(), names.end(), agrees))
            return Configuration(map);
    }
    return {};
}

QByteArray Configuration::faultIn(const QByteArray &content)
{
    QJsonParseError error = {};
    QJsonDocument::fromJson(content, &error);
    if (error.error != QJsonParseError::NoError)
        return "not a valid JSON object or array: " + placeText(content, endOfJson(content));
    return ServerConf::parse(content).map.isEmpty() ? "empty: it has no member" : "";
}

FileComparison Configuration::compareWithFile() const
{
    const ConfFile file(Paths::configuration);
    const auto content = file.read();
    if (::access(Paths::configuration.data(), R_OK) != 0 && errno == EACCES)
        return {{}, "cannot be read: Permission denied", "run this as root"};
    FileComparison result;
    result.fault =
        content ? faultIn(*content) : QByteArray(file.exists() ? "cannot be read" : "missing");
    if (content)
        result.differs = !(*this == Configuration(ServerConf::parse(*content).map));
    if (!result.fault.isEmpty())
        result.advice = isLoaded() ? "the daemon goes on with what it has loaded; repair the file "
                                     "before a restart"
                                   : "create or repair it ('man quillon-agent.json' has an "
                                     "example), then restart the daemon";
    else if (*result.differs)
        result.advice = "the daemon has another configuration; restart it to load this file";
    if (result.differs.value_or(false) && !m_map.value(defaultUrlName).toList().isEmpty())
        result.advice += "; until then, any choice overwrites the file";
    return result;
}

QString Configuration::serverInUse() const
{
    const bool lacksCustom = !usesDefault() && m_map.value(confCustomUrlName).toString().isEmpty();
    return lacksCustom ? QString() : ServerConf::serverUrl(m_map);
}

int Configuration::chosenIndex() const
{
    return usesDefault() ? m_map.value(confDefaultIndexName).toInt() : -1;
}

int Configuration::indexOf(const QString &shown) const
{
    const QStringList servers = m_map.value(defaultUrlName).toStringList();
    for (int index = 0; index < servers.size(); ++index) {
        if (Output::escaped(servers.at(index).toUtf8()) == shown.toUtf8())
            return index;
    }
    return -1;
}

QByteArray Configuration::serverText() const
{
    const QByteArray server = Output::escaped(serverInUse().toUtf8());
    const QByteArray index = m_map.value(confDefaultIndexName).toByteArray();
    const QByteArray choice = usesDefault() ? "default server " + index : "custom address";
    if (!server.isEmpty())
        return server + " (" + choice + ')';
    return m_map.isEmpty() ? "none (no configuration)" : "none (" + choice + " missing or empty)";
}

QJsonObject Configuration::toJson() const
{
    QJsonObject document = QJsonObject::fromVariantMap(ServerConf::toReply(m_map));
    document.insert(confDefaultName, usesDefault());
    document.insert(QStringLiteral("loaded"), !m_map.isEmpty());
    return document;
}

QByteArray Configuration::toText() const
{
    QByteArray text = "In use: " + serverText() + '\n';
    if (m_map.isEmpty())
        text += "Run 'quillonctl check', repair the file, then restart the daemon.\n";
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
