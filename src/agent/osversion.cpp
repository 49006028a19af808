#include "osversion.h"

#include "regularfile.h"

#include <QDebug>
#include <QFileInfo>
#include <QSettings>

OsVersion OsVersion::read(const QString &path)
{
    const QFileInfo file(path);
    if (!file.exists())
        qWarning() << "zeno-version non-existent";
    else if (!file.isFile() || file.size() > RegularFile::kMaxBytes)
        return {};

    QSettings settings(path, QSettings::IniFormat);
    settings.setIniCodec("UTF8");
    settings.beginGroup(QStringLiteral("Version"));
    const auto text = [&settings](const char *key) {
        return settings.value(QLatin1String(key)).toString();
    };

    OsVersion version;
    version.systemName = text("SystemName");
    version.systemNameZh = text("SystemName[zh_CN]");
    version.productType = text("ProductType");
    version.productTypeZh = text("ProductType[zh_CN]");
    version.editionName = text("EditionName");
    version.editionNameZh = text("EditionName[zh_CN]");
    version.majorVersion = text("MajorVersion");
    version.minorVersion = text("MinorVersion");
    version.osBuild = text("OsBuild");
    return version;
}

SystemType OsVersion::systemType() const
{
    const bool isDevice = editionName == QLatin1String("Device");
    if (productType == QLatin1String("Server"))
        return isDevice ? ServerDeviceEdition : ServerEdition;
    if (editionName == QLatin1String("Home"))
        return HomeEdition;
    return isDevice ? DeviceEdition : OtherEdition;
}
