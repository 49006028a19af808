#pragma once

#include <QLatin1String>

/// Where the daemon keeps and offers things on every machine.
namespace Paths {

inline constexpr QLatin1String runDirectory{"/var/run/quillon"};
inline constexpr QLatin1String socket{"/var/run/quillon/quillon"};
inline constexpr QLatin1String logDirectory{"/var/log/zeno/quillon"};
inline constexpr QLatin1String logFile{"/var/log/zeno/quillon/quillon.log"};
inline constexpr QLatin1String configuration{"/etc/.zeno/.agent.json"};
inline constexpr QLatin1String osVersion{"/etc/os-version"};

} // namespace Paths
