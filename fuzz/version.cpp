// The version record of the operating system.

#include "target.h"

#include "osversion.h"

#include <QFile>
#include <QStringList>
#include <QTemporaryDir>

using Fuzz::require;

namespace {

QStringList fieldsOf(const OsVersion &version)
{
    return {version.systemName,    version.systemNameZh, version.productType,
            version.productTypeZh, version.editionName,  version.editionNameZh,
            version.majorVersion,  version.minorVersion, version.osBuild};
}

OsVersion recordOf(const QByteArray &content)
{
    // The toolkit keeps what it has read under a name, so no name comes twice.
    static const QTemporaryDir folder;
    static int number = 0;
    QFile file(folder.filePath(QString::number(++number)));
    require(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(),
            "the record can be written");
    file.close();
    OsVersion version = OsVersion::read(file.fileName());
    file.remove();
    return version;
}

void checkSystemType(const OsVersion &version)
{
    const SystemType type = version.systemType();
    const bool isServer = type == ServerEdition || type == ServerDeviceEdition;
    const bool isDevice = type == DeviceEdition || type == ServerDeviceEdition;
    require(isServer == (version.productType == QLatin1String("Server")),
            "the product type makes a server");
    require(isDevice == (version.editionName == QLatin1String("Device")),
            "the edition makes a device");
    if (type == HomeEdition)
        require(version.editionName == QLatin1String("Home"), "the edition makes a home system");
}

} // namespace

void Fuzz::run(const QByteArray &input)
{
    const OsVersion version = recordOf(input);
    checkSystemType(version);
    require(fieldsOf(recordOf(input)) == fieldsOf(version), "read twice, the record is the same");
    if (!input.contains('='))
        require(fieldsOf(version).join(QString()).isEmpty(), "without a value, no field");
    require(OsVersion::read(QStringLiteral("/nowhere")).systemType() == OtherEdition,
            "nothing stays of one record for the next");
}
