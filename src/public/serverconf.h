#pragma once

#include <QByteArray>
#include <QVariantMap>

class QUrl;

/// The server configuration as a map with the keys of confkeys.h: bool, int, int, string, string
/// and list of the default servers' base URLs. Pure functions that convert and interpret it.
namespace ServerConf {

struct Parsed
{
    QVariantMap map; ///< all keys; empty when the bytes hold no configuration
    QString error; ///< the parser's text, if the map is empty
};

/// Reads the file's content. An absent member gets its default, a member of
/// another JSON type gets false, 0, an empty string or an empty list. Other
/// members are dropped. Invalid JSON, `{}` and `[]` hold no configuration.
Parsed parse(const QByteArray &content);

/// The file's content for a map: indented JSON, members in ascending order.
QByteArray toFileContent(const QVariantMap &map);

/// What clients receive: all keys but the health path. A key that the map lacks
/// is reported as 0, an empty string or an empty list.
QVariantMap toReply(const QVariantMap &map);

/// Base URL of the server in use. With a default server in use: the one with the
/// chosen index, or empty when there is none. Otherwise the scheme (confCustomHeadindex)
/// followed by the custom address, which is not validated.
QString serverUrl(const QVariantMap &map);

/// Whether a reply from the URL answers a health probe: the last segment of its path is exactly
/// "health". With another path the daemon does not recognise the reply, and the probe times out.
bool isProbe(const QUrl &url);

} // namespace ServerConf
