#pragma once

#include <QLatin1String>

// Members of the configuration file. Clients receive all but the health path.
inline const QLatin1String confDefaultName{"confDefault"};
inline const QLatin1String confDefaultIndexName{"confDefaultIndex"};
inline const QLatin1String confCustomHeadindexName{"confCustomHeadindex"};
inline const QLatin1String confCustomUrlName{"confCustomUrl"};
inline const QLatin1String healthPathName{"healthPath"};
inline const QLatin1String defaultUrlName{"defaultUrl"};
