#pragma once

#include <QUrl>

/// Recognises the replies to the health probe by their URL.
namespace HealthProbe {

/// Whether a reply from the URL answers a probe: the last segment of its path is exactly "health".
/// With another path the daemon does not recognise the reply, and the probe times out.
inline bool isReply(const QUrl &url)
{
    return url.fileName(QUrl::FullyDecoded) == QLatin1String("health");
}

} // namespace HealthProbe
