#pragma once

#include <QLatin1String>

// Members of the configuration file; all but the health path are told to clients as well.
inline constexpr QLatin1String confDefaultName{"confDefault"};
inline constexpr QLatin1String confDefaultIndexName{"confDefaultIndex"};
inline constexpr QLatin1String confCustomHeadindexName{"confCustomHeadindex"};
inline constexpr QLatin1String confCustomUrlName{"confCustomUrl"};
inline constexpr QLatin1String healthPathName{"healthPath"};
inline constexpr QLatin1String defaultUrlName{"defaultUrl"};
