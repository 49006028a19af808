#include "logrenderer.h"

#include <utility>

LogRenderer::LogRenderer(LogText::Level level, QByteArray since)
    : m_level(level)
    , m_since(std::move(since))
    , m_passes(m_level == LogText::Level::Debug && m_since.isEmpty())
{
}

QByteArray LogRenderer::add(const QByteArray &bytes)
{
    QByteArray text;
    const QVector<LogLines::Piece> pieces = m_lines.add(bytes);
    for (const LogLines::Piece &piece : pieces)
        text += shown(piece);
    return text;
}

QByteArray LogRenderer::rest()
{
    return shown(m_lines.rest());
}

QByteArray LogRenderer::shown(const LogLines::Piece &piece)
{
    if (const auto head = LogText::headOf(piece.bytes); piece.startsLine && head)
        m_passes = head->level >= m_level && head->time >= m_since;
    if (!m_passes)
        return {};
    return piece.endsLine ? LogText::inClear(piece.bytes) + '\n' : LogText::inClear(piece.bytes);
}
