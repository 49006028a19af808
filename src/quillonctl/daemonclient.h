#pragma once

#include "configuration.h"
#include "output.h"

#include <QVector>

class QDeadlineTimer;

/// Splits what the daemon sends into messages. Pure; takes any bytes.
namespace Answer {

/// Far above any message of the daemon.
inline constexpr int kMaxPayloadBytes = 16 * 1024 * 1024;

struct Batch
{
    QVector<QJsonObject> messages;
    int end = 0; ///< position of the first byte after the messages
    QByteArray flaw; ///< why the bytes from end on can never become a message, if so
};

/// Returns all complete messages from the start of the bytes. An incomplete message
/// is not a flaw: call again with more bytes.
Batch parse(const QByteArray &bytes);

} // namespace Answer

/// The result of a request to the daemon.
struct Reply
{
    Verdict verdict; ///< done when the configuration arrived
    std::optional<Configuration> configuration;
    QJsonObject refusal; ///< the last status message; empty without one
    qint64 process = 0; ///< the daemon's process ID; 0 without a connection
    bool mayRetry = true; ///< another attempt may succeed
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
