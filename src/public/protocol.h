#pragma once

#include <QLatin1String>

class QJsonValue;

/// The messages on the local socket. Each is a JSON object in one frame (frame.h).
/// Type, status code and server index are decimal integers in JSON strings.
namespace Protocol {

/// Values of the member "type".
enum MessageType {
    StatusMessage = 2, ///< daemon: a choice failed, with a StatusCode
    ChooseServer = 4, ///< client: use the default server with this index
    Configuration = 5, ///< client: ask for the configuration; daemon: the configuration
};

/// Values of the member "activeMessageType" of a status message.
enum StatusCode : unsigned int {
    FileUnusable = 4, ///< the configuration file is missing, cannot be opened or cannot be written
    IndexOutOfRange = 5, ///< there is no default server with this index
};

inline const QLatin1String typeName{"type"};
inline const QLatin1String serverIndexName{"serverIndex"};
inline const QLatin1String statusCodeName{"activeMessageType"};
inline const QLatin1String statusTextName{"message"};

/// The decimal integer in a JSON string; 0 for any other value. An integer outside the range of
/// int, of either sign, gives the largest int, which is never a server's index.
int numberIn(const QJsonValue &value);

} // namespace Protocol
