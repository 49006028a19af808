#pragma once

#include <QVariantList>

/// Takes apart what a client wrote. Pure but for its warnings and debug lines.
namespace Requests {

/// Frames in a row that may hold one object between them.
inline constexpr int kMaxFramesOfObject = 256;

/// The whole JSON objects (QJsonObject) in the frames of one read, in order of
/// arrival; an object cut into several frames is put together again. Ends,
/// with a warning, at a frame that no client would send: one that is no frame,
/// one too many, or one that makes an object name a member twice.
QVariantList parse(const QByteArray &received);

} // namespace Requests
