#include "configuration.h"

#include "confkeys.h"
#include "paths.h"
#include "protocol.h"
#include "serverconf.h"
#include "terminaltext.h"

#include <QJsonArray>

#include <algorithm>

namespace {

// toInt() gives its argument back for whatever is no int.
bool isInt(const QJsonValue &value)
{
    return value.toInt(0) == value.toInt(1);
}

bool isStringList(const QJsonValue &value)
{
    const QJsonArray entries = value.toArray();
    return value.isArray()
           && std::all_of(entries.begin(), entries.end(),
                          [](const QJsonValue &entry) { return entry.isString(); });
}

QByteArray shown(const QString &text)
{
    return TerminalText::escaped(text.toUtf8());
}

QByteArray headlineOf(const Configuration &configuration)
{
    const QByteArray index = QByteArray::number(configuration.defaultIndex);
    const QByteArray server = shown(configuration.serverInUse());
    if (!configuration.isLoaded)
        return QByteArrayLiteral("No server is in use: the daemon has no configuration loaded.\n"
                                 "Look at ")
               + Paths::configuration.data() + ", then restart the daemon.\n";
    if (!server.isEmpty())
        return (configuration.usesDefault ? "In use: default server " + index
                                          : "In use: custom address " + server)
               + '\n';
    const bool isListed = configuration.defaultIndex >= 0
                          && configuration.defaultIndex < configuration.defaultServers.size();
    const QByteArray chosen = configuration.usesDefault ? "default server " + index
                                                        : QByteArrayLiteral("the custom address");
    return "No server is in use: "
           + (configuration.usesDefault && !isListed ? "there is no " + chosen
                                                     : chosen + " is empty")
           + ".\n";
}

} // namespace

std::optional<Configuration> Configuration::fromMessage(const QJsonObject &message)
{
    const QJsonValue isDefault = message.value(confDefaultName);
    const QJsonValue index = message.value(confDefaultIndexName);
    const QJsonValue scheme = message.value(confCustomHeadindexName);
    const QJsonValue address = message.value(confCustomUrlName);
    const QJsonValue servers = message.value(defaultUrlName);
    // A daemon that has loaded nothing says 0 here, no boolean.
    const bool isUnloaded = isInt(isDefault) && isDefault.toInt() == 0;
    if (!(isDefault.isBool() || isUnloaded) || !isInt(index) || !isInt(scheme)
        || !address.isString() || !isStringList(servers))
        return {};

    return Configuration{!isUnloaded,
                         isDefault.toBool(),
                         index.toInt(),
                         address.toString(),
                         servers.toVariant().toStringList(),
                         message};
}

QString Configuration::serverInUse() const
{
    const bool hasAddress = usesDefault || !customAddress.isEmpty();
    return isLoaded && hasAddress ? ServerConf::serverUrl(told.toVariantMap()) : QString();
}

QJsonObject Configuration::toJson() const
{
    QJsonObject document = told;
    document.remove(Protocol::typeName);
    document.insert(confDefaultName, usesDefault);
    document.insert(QStringLiteral("loaded"), isLoaded);
    return document;
}

QByteArray Configuration::toText() const
{
    QByteArray text = headlineOf(*this);
    if (!defaultServers.isEmpty())
        text += "Default servers:\n";
    for (int index = 0; index < defaultServers.size(); ++index) {
        const bool isInUse = isLoaded && usesDefault && index == defaultIndex;
        text += isInUse ? "* " : "  ";
        text += QByteArray::number(index) + "  " + shown(defaultServers.at(index)) + '\n';
    }
    return text;
}
