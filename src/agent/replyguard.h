#pragma once

#include <QHostAddress>
#include <QObject>

class QHostInfo;
class QNetworkReply;

/// Bounds what a server can make us keep of one reply: nothing of a body that
/// nobody reads, 1 MiB of any other, and 60 s for the whole reply. The reply
/// owns its guard.
class ReplyGuard : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(ReplyGuard)

public:
    static constexpr qint64 kMaxBodyBytes = 1024 * 1024;

    /// @param wantsBody false: the body is thrown away as it comes
    ReplyGuard(QNetworkReply *reply, bool wantsBody);
    ~ReplyGuard() override;

    /// The guard of a reply, which must have one.
    static const ReplyGuard &of(const QNetworkReply &reply);

    /// Whether the reply was ended because its 60 s were over.
    bool isExpired() const { return m_isExpired; }

    /// Returns the body, as far as it came.
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
    QByteArray m_keptBody; // of a body that was too long: abort() discards what came
    QList<QHostAddress> m_peers; // the server's addresses
    int m_lookup = -1; // of these addresses
};
