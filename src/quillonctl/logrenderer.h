#pragma once

#include "loglines.h"
#include "logtext.h"
#include "logview.h"

/// Shows the lines of a log, each scrambled text in clear.
class LogRenderer : public LogView
{
public:
    /// A message passes with at least the level and at or after the time, when
    /// there is one; all its lines pass with it.
    LogRenderer(LogText::Level level, QByteArray since);

    /// A line of more than LogLines::kMaxLineBytes is shown piece by piece, and a
    /// scrambled text that does not fit into a piece stays as it is.
    QByteArray add(const QByteArray &bytes) override;
    QByteArray rest() override;

private:
    QByteArray shown(const LogLines::Piece &piece);

    const LogText::Level m_level;
    const QByteArray m_since;
    LogLines m_lines;
    bool m_passes;
};
