#pragma once

#include <QLatin1String>

// Base URLs of the service: a scheme and a host, no path. The host names stand
// under a domain that never resolves; a distribution puts its own in their place.
inline const QLatin1String MainServer{"https://main.quillon.invalid"};
inline const QLatin1String Main1Server{"https://main1.quillon.invalid"};
inline const QLatin1String TeMainServer{"https://te-main.quillon.invalid"};
inline const QLatin1String TeMain1Server{"https://te-main1.quillon.invalid"};
inline const QLatin1String PreMainServer{"https://pre-main.quillon.invalid"};
inline const QLatin1String PreMain1Server{"https://pre-main1.quillon.invalid"};
