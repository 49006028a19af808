#pragma once

#include <QByteArray>
#include <QVector>

/// Cuts the bytes of a log, in whatever pieces they are read, into its lines.
/// Holds no more than about one line, and does no input or output.
class LogLines
{
public:
    struct Piece
    {
        QByteArray bytes; ///< without the line feed
        bool startsLine;
        bool endsLine;
    };

    /// What is complete now. The bytes of a line without an end wait for more,
    /// up to kMaxLineBytes; a longer line comes in several pieces.
    QVector<Piece> add(const QByteArray &bytes);

    /// What waits, as if its line ended here.
    Piece rest();

    static constexpr int kMaxLineBytes = 1024 * 1024;

private:
    void hold(const QByteArray &bytes, QVector<Piece> &pieces);
    Piece take(int size, bool endsLine);

    QByteArray m_pending;
    bool m_startsLine = true;
};
