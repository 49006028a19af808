#include "loglines.h"

#include <utility>

QVector<LogLines::Piece> LogLines::add(const QByteArray &bytes)
{
    QVector<Piece> pieces;
    int start = 0;
    for (int end = bytes.indexOf('\n'); end >= 0; end = bytes.indexOf('\n', start)) {
        hold(bytes.mid(start, end - start), pieces);
        pieces.append(take(m_pending.size(), true));
        start = end + 1;
    }
    hold(bytes.mid(start), pieces);
    return pieces;
}

LogLines::Piece LogLines::rest()
{
    Piece piece = take(m_pending.size(), false);
    m_startsLine = true;
    return piece;
}

void LogLines::hold(const QByteArray &bytes, QVector<Piece> &pieces)
{
    m_pending += bytes;
    while (m_pending.size() > kMaxLineBytes) {
        // After a blank, so that no scrambled text is cut that fits into the next piece.
        const int blank = m_pending.lastIndexOf(' ', kMaxLineBytes - 1);
        pieces.append(take(blank < 0 ? kMaxLineBytes : blank + 1, false));
    }
}

LogLines::Piece LogLines::take(int size, bool endsLine)
{
    Piece piece{m_pending.left(size), std::exchange(m_startsLine, endsLine), endsLine};
    m_pending.remove(0, size);
    return piece;
}
