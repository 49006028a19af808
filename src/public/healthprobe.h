#pragma once

class QString;
class QUrl;

/// The URL of the health probe, whose replies are recognised by it.
namespace HealthProbe {

/// Where the probe goes: the base URL directly followed by the path.
QString url(const QString &baseUrl, const QString &path);

/// Whether a reply from the URL answers a probe: the last segment of its path is
/// exactly "health". With any other path each probe times out.
bool isReply(const QUrl &url);

} // namespace HealthProbe
