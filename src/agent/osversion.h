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

/// The version record of the operating system: the group "Version" of an INI
/// file in UTF-8. Each field is the text that the file holds; empty when the
/// file does not hold it.
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

    /// Reads the record. A missing file, or one that is not a regular file of
    /// at most 1 MiB, gives a warning and an empty record.
    static OsVersion read(const QString &path);

    /// The kind of system that product type and edition make; compares exactly.
    SystemType systemType() const;
};
