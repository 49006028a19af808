#pragma once

#include "configuration.h"
#include "output.h"

class QDeadlineTimer;

/// The result of a request to the daemon.
struct Reply
{
    Verdict verdict; ///< done when the configuration arrived
    std::optional<Configuration> configuration;
    QJsonObject refusal; ///< the last status message; empty without one
    qint64 process = 0; ///< the daemon's process ID; 0 without a connection
    bool mayRetry = true; ///< another attempt may succeed

    bool isUnconfigured() const { return configuration && !configuration->isLoaded(); }
};

/// Sends requests to the daemon over its local socket and waits for the answer, blocking.
namespace DaemonClient {

/// Asks for the configuration.
/// @param isPatient keeps trying until a daemon answers or the time is up
Reply ask(const QDeadlineTimer &deadline, bool isPatient);

/// Chooses a default server, then asks for the configuration.
Reply choose(int index, const QDeadlineTimer &deadline, bool isPatient);

/// Returns why no daemon is reachable; done when one is. The daemon does not notice.
Verdict absence();

} // namespace DaemonClient
