#include "healthprobe.h"

#include <QString>
#include <QUrl>

QString HealthProbe::url(const QString &baseUrl, const QString &path)
{
    return baseUrl + path;
}

bool HealthProbe::isReply(const QUrl &url)
{
    return url.fileName(QUrl::FullyDecoded) == QLatin1String("health");
}
