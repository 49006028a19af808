#pragma once

#include <QVariantList>

/// Parses what a client wrote. Pure, except that it logs.
namespace Requests {

/// Bytes of one object, over all its frames. A valid request needs less than 100.
inline constexpr int kMaxObjectBytes = 64 * 1024;

/// Limit on the work for one read, in bytes that are logged and parsed. Each frame
/// logs and parses its object from the start, so many small frames cost more than one.
inline constexpr int kMaxCost = 512 * 1024;

/// Returns the complete JSON objects (QJsonObject) in the frames of one read, in
/// order of arrival. Joins an object that is split over several frames. Stops with
/// a warning at an incomplete frame, a frame from another sender, a frame that
/// exceeds the limits above, or an object with two members of the same name.
QVariantList parse(const QByteArray &received);

} // namespace Requests
