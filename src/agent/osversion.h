#pragma once

#include <QString>

/// Kind of the installed system.
enum SystemType {
    OtherEdition = 0,
    ServerEdition = 1,
    HomeEdition = 2,
    DeviceEdition = 3,
    ServerDeviceEdition = 4,
};

/// The version record of the operating system: the group "Version" of an INI file in UTF-8. Each
/// field is the value as QSettings converts it to a string: empty when the key is missing, or when
/// the value is an unquoted list ("1,2"). The daemon uses it only to derive the system type. The
/// other fields are not used yet.
struct OsVersion
{
    QString systemName;
    QString systemNameZh;
    QString productType;
    QString productTypeZh;
    QString editionName;
    QString editionNameZh;
    QString majorVersion;
    QString minorVersion;
    QString osBuild;

    /// Reads the record. A missing file gives a warning and an empty record;
    /// anything but a regular file of at most 1 MiB gives an empty record.
    static OsVersion read(const QString &path);

    /// Derives the kind of system from product type and edition, which are compared exactly.
    SystemType systemType() const;
};
