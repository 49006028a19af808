#pragma once

#include <QLatin1String>

/// The daemon's files and its socket.
namespace Paths {

inline const QLatin1String runDirectory{"/var/run/quillon"};
inline const QLatin1String socket{"/var/run/quillon/quillon"};
inline const QLatin1String logDirectory{"/var/log/zeno/quillon"};
inline const QLatin1String logFile{"/var/log/zeno/quillon/quillon.log"};
inline const QLatin1String configuration{"/etc/.zeno/.agent.json"};
inline const QLatin1String osVersion{"/etc/os-version"};

} // namespace Paths
