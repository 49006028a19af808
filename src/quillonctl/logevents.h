#pragma once

#include "loglines.h"
#include "logtext.h"

#include <QVector>

#include <optional>

/// Something that the daemon did, as its log tells it.
struct LogEvent
{
    enum class Kind {
        Version, ///< the first line of a run; the text is the version
        Server, ///< is taken into use; a probe of it follows, unless that could not be kept
        Probe, ///< is sent; the text is its URL
        Outcome, ///< of a probe: the status; when it is 0 the text tells why, if anything does
        Timeout, ///< of a probe
        Choice, ///< a client asks for a server; the text is the index that is taken, or empty
        Fault, ///< of the configuration or a choice; the text tells which
        ClientCame,
        ClientLeft,
        Warning, ///< any message of this level or above; the text is its kind: no values
    };

    Kind kind;
    QByteArray time; ///< in the log's own format
    QByteArray text; ///< in clear and escaped
    int status = 0; ///< of HTTP
};

/// Turns the bytes of a log, in whatever pieces they are read, into events. Pure;
/// any bytes may come in. A warning comes beside what else its line tells; those
/// that every ordinary log has are left out.
class LogEvents
{
public:
    QVector<LogEvent> add(const QByteArray &bytes);

    /// The log has ended; another one may follow.
    void finish();

private:
    void take(const QByteArray &line, QVector<LogEvent> &events);
    LogEvent eventOf(LogEvent::Kind kind, const QByteArray &rest);
    void noteChoice(const QByteArray &text);

    LogLines m_lines;
    std::optional<LogText::Head> m_head; // of the message that the line belongs to
    QVector<int> m_choices; // in the client's last write, not yet acted upon
    QByteArray m_failure; // of the last request
};
