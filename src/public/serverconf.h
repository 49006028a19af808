#pragma once

#include <QByteArray>
#include <QVariantMap>

class QUrl;

/// The server configuration as a map with the keys of confkeys.h: bool, int,
/// int, string, string and list of the default servers' base URLs. Pure
/// functions between that map and its JSON forms.
namespace ServerConf {

struct Parsed
{
    QVariantMap map; ///< all keys; empty when the bytes hold no configuration
    QString error; ///< the parser's text; means something only with an empty map
};

/// Reads the file's content. An absent member takes its default, a member of
/// another JSON type the neutral value of its own; anything but these
/// is dropped. No JSON, `{}` and `[]` hold no configuration.
Parsed parse(const QByteArray &content);

/// The file's content for a map: indented JSON, members in ascending order.
QByteArray toFileContent(const QVariantMap &map);

/// What clients are told: all keys without the health path. A key that the
/// map lacks is reported as 0, empty text or empty list.
QVariantMap toReply(const QVariantMap &map);

/// Base URL of the server in use: a default server, empty when the index is
/// none of theirs; or the custom address behind its scheme, not validated.
QString serverUrl(const QVariantMap &map);

/// Where the health probe goes: the base URL directly followed by the health path.
QString probeUrl(const QVariantMap &map);

/// Whether a reply from the URL is one to the health probe: the last segment of
/// its path is "health". Any other reply to a probe is not taken as its answer.
bool isProbe(const QUrl &url);

} // namespace ServerConf
