#pragma once

#include <QHostAddress>
#include <QObject>

class QHostInfo;
class QNetworkReply;

/// Limits one reply: discards a body that nobody reads, keeps at most 1 MiB of
/// any other body, and ends the reply after 60 s. The reply owns its guard.
class ReplyGuard : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(ReplyGuard)

public:
    static constexpr qint64 kMaxBodyBytes = 1024 * 1024;

    /// @param wantsBody false: the body is discarded as it arrives
    ReplyGuard(QNetworkReply *reply, bool wantsBody);
    ~ReplyGuard() override;

    /// The guard of a reply, which must have one.
    static const ReplyGuard &of(const QNetworkReply &reply);

    /// Whether the guard ended the reply after 60 s.
    bool isExpired() const { return m_isExpired; }

    /// Returns the part of the body that has arrived.
    QByteArray takeBody() const;

private slots:
    void setPeers(const QHostInfo &found);

private:
    void findPeers();
    void read();
    void expire();
    void shutDownConnections() const;

    QNetworkReply *const m_reply; // the parent
    const bool m_wantsBody;
    bool m_isExpired = false;
    QByteArray m_keptBody; // the first 1 MiB of a longer body, which abort() would discard
    QList<QHostAddress> m_peers; // the server's addresses
    int m_lookup = -1; // ID of the lookup of these addresses, until it has finished
};
