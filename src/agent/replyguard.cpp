#include "replyguard.h"

#include <QDebug>
#include <QNetworkReply>
#include <QTimer>

#include <chrono>

namespace {

constexpr std::chrono::seconds kMaxAge{60};

} // namespace

ReplyGuard::ReplyGuard(QNetworkReply *reply, bool wantsBody)
    : QObject(reply)
    , m_reply(reply)
    , m_wantsBody(wantsBody)
{
    reply->setReadBufferSize(kMaxBodyBytes + 1);
    connect(reply, &QNetworkReply::readyRead, this, &ReplyGuard::read);
    // Not QTimer::singleShot(): its timer would outlive the guard until the time is up.
    auto *age = new QTimer(this);
    connect(age, &QTimer::timeout, this, &ReplyGuard::expire);
    age->setSingleShot(true);
    age->start(kMaxAge);
}

const ReplyGuard *ReplyGuard::of(const QNetworkReply *reply)
{
    return reply->findChild<ReplyGuard *>(QString(), Qt::FindDirectChildrenOnly);
}

QByteArray ReplyGuard::takeBody() const
{
    return m_kept.isEmpty() ? m_reply->readAll() : m_kept;
}

void ReplyGuard::read()
{
    if (!m_wantsBody) {
        m_reply->skip(m_reply->bytesAvailable());
        return;
    }
    if (m_reply->bytesAvailable() <= kMaxBodyBytes)
        return;
    qWarning() << "reply body of more than 1 MiB, the rest of it is dropped";
    m_kept = m_reply->read(kMaxBodyBytes);
    m_reply->abort();
}

void ReplyGuard::expire()
{
    m_isExpired = true;
    m_reply->abort();
}
