#pragma once

#include <QLatin1String>

class QJsonValue;

/// The messages on the local socket. Each is a JSON object that travels in one
/// frame (frame.h); every number in it that is named here is a decimal integer
/// in a JSON string.
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
    IndexOutOfRange = 5, ///< there is no default server with the index that was asked for
};

inline const QLatin1String typeName{"type"};
inline const QLatin1String serverIndexName{"serverIndex"};
inline const QLatin1String statusCodeName{"activeMessageType"};
inline const QLatin1String statusTextName{"message"};

/// The decimal integer in a JSON string; 0 when it holds none. An integer beyond
/// int, of either sign, gives the largest int, which is no server's index.
int numberIn(const QJsonValue &value);

} // namespace Protocol
