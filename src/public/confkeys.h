#pragma once

#include <QString>

// Members of the configuration file. Clients receive all but the health path.
inline const QString confDefaultName = QStringLiteral("confDefault");
inline const QString confDefaultIndexName = QStringLiteral("confDefaultIndex");
inline const QString confCustomHeadindexName = QStringLiteral("confCustomHeadindex");
inline const QString confCustomUrlName = QStringLiteral("confCustomUrl");
inline const QString healthPathName = QStringLiteral("healthPath");
inline const QString defaultUrlName = QStringLiteral("defaultUrl");
