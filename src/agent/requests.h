#pragma once

#include <QVariantList>

/// Takes apart what a client wrote. Pure but for its warnings and debug lines.
namespace Requests {

/// Bytes of one object, over all its frames. A request of ours has less than 100.
inline constexpr int kMaxObjectBytes = 64 * 1024;

/// Bytes that the frames of one read may make us log, parse and keep. Each frame
/// logs and parses all that is pending, so small frames of one large object add up.
inline constexpr int kMaxCost = 512 * 1024;

/// Returns the whole JSON objects (QJsonObject) in the frames of one read, in
/// order of arrival. An object cut into several frames is put together again.
/// Stops with a warning at a frame that no client would send: an incomplete one,
/// one of another sender, one beyond the limits above, or one that makes an
/// object name a member twice.
QVariantList parse(const QByteArray &received);

} // namespace Requests
