#pragma once

#include <QLatin1String>

// Base URLs of the service: a scheme and a host, no path. The hosts are under a
// domain that never resolves; a distribution replaces them with its own.

// The built-in default servers, in this order.
inline const QLatin1String MainServer{"https://main.quillon.invalid"};
inline const QLatin1String Main1Server{"https://main1.quillon.invalid"};

// Not used yet: the servers of the test and pre-release services.
inline const QLatin1String TeMainServer{"https://te-main.quillon.invalid"};
inline const QLatin1String TeMain1Server{"https://te-main1.quillon.invalid"};
inline const QLatin1String PreMainServer{"https://pre-main.quillon.invalid"};
inline const QLatin1String PreMain1Server{"https://pre-main1.quillon.invalid"};
