#pragma once

#include <QDeadlineTimer>
#include <QJsonObject>
#include <QString>

#include <chrono>

class QByteArray;
class QLocalSocket;

/// What came of asking the daemon.
struct Reply
{
    enum class Outcome {
        Answered, ///< the configuration came
        Unreachable, ///< there is nothing to connect to, or no permission
        QueueFull, ///< too many programs wait for the daemon
        Closed, ///< the daemon closed the connection before the answer
        Silent, ///< the time was up first
        Garbled, ///< what came is no message
    };

    Outcome outcome;
    QString reason; ///< in words, unless answered
    QJsonObject status; ///< the last status message, with any outcome; else empty
    QJsonObject configuration; ///< the configuration message; empty unless answered
    qint64 process = 0; ///< the daemon's, with any outcome; 0 when it is not known
};

/// Asks the daemon over its local socket and waits for the answer, blocking.
///
/// The time runs from the construction and covers everything, so an object is
/// good for one question.
class DaemonClient
{
    Q_DISABLE_COPY(DaemonClient)

public:
    /// @param isPatient goes on trying while no daemon answers, until the time is up
    DaemonClient(std::chrono::milliseconds timeout, bool isPatient);

    /// Sends the bytes in one write and collects until the daemon has told its
    /// configuration: they must end with the request for it.
    Reply ask(const QByteArray &request) const;

private:
    Reply attempt(const QByteArray &request) const;
    Reply collect(QLocalSocket &socket) const;
    Reply expired(bool isHalf) const;
    bool mayTryAgain(const Reply &reply) const;
    int remaining(std::chrono::milliseconds limit) const;

    const std::chrono::milliseconds m_timeout;
    const QDeadlineTimer m_deadline;
    const bool m_isPatient;
};
