#pragma once

#include "logtext.h"

/// Turns the bytes of a log, in whatever pieces they are read, into the lines
/// to be shown. Holds no more than about one line, and does no input or output.
class LogRenderer
{
public:
    /// A message passes with at least the level and at or after the time, when
    /// there is one; all its lines pass with it.
    LogRenderer(LogText::Level level, QByteArray since);

    /// What can be shown now. The bytes of a line without an end wait for more,
    /// up to kMaxLineBytes; a longer line is shown piece by piece, and a scrambled
    /// text that does not fit into a piece stays as it is.
    QByteArray add(const QByteArray &bytes);

    /// What waits, as if its line ended here, but without a line feed.
    QByteArray rest();

    static constexpr int kMaxLineBytes = 1024 * 1024;

private:
    QByteArray hold(const QByteArray &bytes);
    QByteArray take(int size, bool endsLine);

    const LogText::Level m_level;
    const QByteArray m_since;
    QByteArray m_pending;
    bool m_startsLine = true;
    bool m_passes;
};
