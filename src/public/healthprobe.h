#pragma once

#include <QUrl>

/// Builds the URL of the health probe, and recognises its replies by that URL.
namespace HealthProbe {

/// Where the probe goes: the base URL directly followed by the path.
inline QString url(const QString &baseUrl, const QString &path)
{
    return baseUrl + path;
}

/// Whether a reply from the URL answers a probe: the last segment of its path is exactly "health".
/// With another path the daemon does not recognise the reply, and the probe times out.
inline bool isReply(const QUrl &url)
{
    return url.fileName(QUrl::FullyDecoded) == QLatin1String("health");
}

} // namespace HealthProbe
