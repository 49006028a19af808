#include "osversion.h"

#include "regularfile.h"

#include <QDebug>
#include <QFile>
#include <QSettings>
#include <QStringList>

namespace {

/// The toolkit makes a list of an unquoted value with a comma, and an empty
/// string of a list.
QString textOf(const QSettings &settings, const char *key)
{
    const QVariant value = settings.value(QLatin1String(key));
    return value.type() == QVariant::StringList ? value.toStringList().join(QLatin1String(", "))
                                                : value.toString();
}

} // namespace

OsVersion OsVersion::read(const QString &path)
{
    if (!QFile::exists(path)) {
        qWarning() << "zeno-version non-existent";
    } else if (!RegularFile::isReadableWhole(path)) {
        qWarning() << "os-version open failed.";
        return {};
    }

    QSettings settings(path, QSettings::IniFormat);
    settings.setIniCodec("UTF8");
    settings.beginGroup(QStringLiteral("Version"));

    OsVersion version;
    version.systemName = textOf(settings, "SystemName");
    version.systemNameZh = textOf(settings, "SystemName[zh_CN]");
    version.productType = textOf(settings, "ProductType");
    version.productTypeZh = textOf(settings, "ProductType[zh_CN]");
    version.editionName = textOf(settings, "EditionName");
    version.editionNameZh = textOf(settings, "EditionName[zh_CN]");
    version.majorVersion = textOf(settings, "MajorVersion");
    version.minorVersion = textOf(settings, "MinorVersion");
    version.osBuild = textOf(settings, "OsBuild");
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
