#pragma once

#include <QByteArray>
#include <QObject>

class QNetworkReply;

/// Bounds what a server can make us keep of one reply: nothing of a body that
/// nobody will read, 1 MiB of any other, and no reply that goes on for more
/// than a minute. Lives as long as the reply that it guards.
class ReplyGuard : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(ReplyGuard)

public:
    static constexpr qint64 kMaxBodyBytes = 1024 * 1024;

    /// @param wantsBody false: what comes of the body is thrown away
    ReplyGuard(QNetworkReply *reply, bool wantsBody);

    /// The guard of a reply; null when it has none.
    static const ReplyGuard *of(const QNetworkReply *reply);

    /// Whether the reply was ended because its time was up.
    bool isExpired() const { return m_isExpired; }

    /// The body, as far as it came.
    QByteArray takeBody() const;

private:
    void read();
    void expire();

    QNetworkReply *const m_reply; // the parent
    const bool m_wantsBody;
    bool m_isExpired = false;
    QByteArray m_kept; // of a body that was too long: to end a reply discards what came
};
