// The content of the configuration file, and all that is made of it.

#include "target.h"

#include "configuration.h"
#include "confkeys.h"
#include "serverconf.h"

#include <QJsonObject>

using Fuzz::require;

namespace {

void checkTypes(const QVariantMap &map)
{
    require(map.value(confDefaultName).type() == QVariant::Bool, "confDefault is a bool");
    require(map.value(confDefaultIndexName).type() == QVariant::Int, "the index is an int");
    require(map.value(confCustomHeadindexName).type() == QVariant::Int, "the scheme is an int");
    require(map.value(confCustomUrlName).type() == QVariant::String, "the address is a text");
    require(map.value(healthPathName).type() == QVariant::String, "the path is a text");
    require(map.value(defaultUrlName).type() == QVariant::List, "the servers are a list");
}

/// The bytes are compared: a server that is a number may be read as one of another type.
void checkFile(const QVariantMap &map)
{
    const QByteArray content = ServerConf::toFileContent(map);
    require(ServerConf::toFileContent(ServerConf::parse(content).map) == content,
            "what is written is read as the same");
}

/// The client understands what it is told of any file.
void checkReply(const QVariantMap &map)
{
    const QVariantMap reply = ServerConf::toReply(map);
    require(!reply.contains(healthPathName), "clients are not told the health path");
    const auto told = Configuration::fromMessage(QJsonObject::fromVariantMap(reply));
    require(told.has_value(), "the client understands the reply");
    require(told->isLoaded == !map.isEmpty(), "the client knows whether a file was loaded");
    if (told->isLoaded && (told->usesDefault || !told->customAddress.isEmpty()))
        require(told->serverInUse() == ServerConf::serverUrl(map),
                "the client knows the server in use");
}

void checkChoices(QVariantMap map)
{
    const QStringList servers = map.value(defaultUrlName).toStringList();
    map.insert(confDefaultName, true);
    for (int index = 0; index < servers.size(); ++index) {
        map.insert(confDefaultIndexName, index);
        require(ServerConf::serverUrl(map) == servers.at(index), "the chosen server is used");
    }
    map.insert(confDefaultIndexName, servers.size());
    require(ServerConf::serverUrl(map).isEmpty(), "behind the last there is no server");
    checkFile(map);
}

} // namespace

void Fuzz::run(const QByteArray &input)
{
    const QVariantMap map = ServerConf::parse(input).map;
    checkReply(map);
    if (map.isEmpty()) {
        require(ServerConf::serverUrl(map).isEmpty(), "without a configuration, no server");
        return;
    }
    checkTypes(map);
    checkFile(map);
    checkChoices(map);
}
