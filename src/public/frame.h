#pragma once

#include <QByteArray>

/// The envelope of every message on the local socket: two signed 32-bit integers in the machine's
/// byte order (sender id, payload length in bytes), then the payload. Pure functions.
namespace Frame {

enum Sender : qint32 {
    Daemon = 1,
    Client = 2,
};

enum class State {
    Complete,
    CutShort, ///< the bytes end inside the header or the payload
    ForeignSender, ///< the header names another sender than the expected one
    BadLength, ///< the header names a negative length
};

/// One frame found in a sequence of bytes.
struct Slice
{
    State state;
    QByteArray payload; ///< empty unless the frame is complete
    int end; ///< position after the frame if it is complete; else its start
    qint32 length = 0; ///< from the header; 0 without a header of the expected sender
};

inline constexpr int kHeaderBytes = 8;

/// Puts a header in front of the payload.
QByteArray pack(Sender sender, const QByteArray &payload);

/// Looks at the frame that starts at the position (0 to the number of bytes).
/// Never reads outside the bytes, whatever the header says.
Slice take(const QByteArray &bytes, int position, Sender expected);

} // namespace Frame
