#pragma once

#include <QVariantList>

/// Parses what a client wrote. Pure, except that it logs.
namespace Requests {

/// Bytes of one object, over all its frames. A valid request needs less than 100.
inline constexpr int kMaxObjectBytes = 64 * 1024;

/// Limit on the work for one read, in bytes that are logged and parsed. Each frame
/// logs and parses its object from the start, so many small frames cost more than one.
inline constexpr int kMaxCost = 512 * 1024;

/// Returns the complete JSON objects (QJsonObject) in the frames of one read, in order. Joins an
/// object that is split over several frames. Stops with a warning at a frame that is incomplete,
/// from another sender or beyond the limits, and at an object with two members of the same name.
QVariantList parse(const QByteArray &received);

} // namespace Requests
