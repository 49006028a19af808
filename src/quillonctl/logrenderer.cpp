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
    QByteArray shown;
    int start = 0;
    for (int end = bytes.indexOf('\n'); end >= 0; end = bytes.indexOf('\n', start)) {
        shown += hold(bytes.mid(start, end - start));
        shown += take(m_pending.size(), true);
        start = end + 1;
    }
    return shown + hold(bytes.mid(start));
}

QByteArray LogRenderer::rest()
{
    QByteArray shown = take(m_pending.size(), false);
    m_startsLine = true;
    return shown;
}

QByteArray LogRenderer::hold(const QByteArray &bytes)
{
    m_pending += bytes;
    QByteArray shown;
    while (m_pending.size() > kMaxLineBytes) {
        // After a blank, so that no scrambled text is cut that fits into the next piece.
        const int blank = m_pending.lastIndexOf(' ', kMaxLineBytes - 1);
        shown += take(blank < 0 ? kMaxLineBytes : blank + 1, false);
    }
    return shown;
}

QByteArray LogRenderer::take(int size, bool endsLine)
{
    const QByteArray piece = m_pending.left(size);
    m_pending.remove(0, size);
    if (const auto head = LogText::headOf(piece); m_startsLine && head)
        m_passes = head->level >= m_level && head->time >= m_since;
    m_startsLine = endsLine;
    if (!m_passes)
        return {};
    return endsLine ? LogText::inClear(piece) + '\n' : LogText::inClear(piece);
}
