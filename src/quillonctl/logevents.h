#pragma once

#include "logtext.h"
#include "output.h"

/// Something that the daemon did, as its log reports it.
struct LogEvent
{
    // Kinds, as JSON documents name them.
    static inline const QLatin1String Start{"start"}; ///< the text is the version
    static inline const QLatin1String Server{"server"}; ///< is taken into use
    static inline const QLatin1String Probe{"probe"}; ///< is sent; the text is its URL
    static inline const QLatin1String Outcome{"outcome"}; ///< of a probe, in words
    static inline const QLatin1String Choice{"choice"}; ///< the text is the index, or empty
    static inline const QLatin1String Fault{"fault"}; ///< the text is the message
    static inline const QLatin1String Client{"client"}; ///< came or left, as the text says
    static inline const QLatin1String Warning{"warning"}; ///< or above; the text has no values

    QLatin1String kind;
    QByteArray time; ///< see LogText::timeText()
    const char *label = ""; ///< for people, in front of the text
    QByteArray text; ///< in clear and escaped
    int httpStatus = -1; ///< of an outcome; 0 without an HTTP response, -1 after a timeout
    QByteArray failure; ///< of an outcome: why there was no HTTP response, if the log says so

    bool isSuccess() const { return httpStatus == 200; }
};

/// Finds the events in a log that comes in pieces of any size. A warning can be another event too.
/// The warning that the daemon logs for each client that leaves is no event.
class LogEvents
{
public:
    QVector<LogEvent> add(const QByteArray &bytes);

private:
    void take(const QByteArray &line, QVector<LogEvent> &events);
    void noteFailure(const QByteArray &text);
    void noteChoice(const QByteArray &text);
    void fill(LogEvent &event, const QByteArray &text, const QByteArray &value);

    QByteArray m_unread; // the incomplete line at the end
    std::optional<LogLine::Head> m_head; // of the message that the line belongs to
    QVector<int> m_choices; // in the client's last write; the daemon has not acted on them yet
    QByteArray m_tlsErrors; // of the request that fails next
    QByteArray m_failure; // of the last request
};

/// The last probe that the events report.
class LastProbe
{
public:
    void add(const LogEvent &event);

    /// Whether the probe has succeeded or failed.
    bool isOver() const { return !m_outcome.time.isEmpty(); }

    /// Whether the probe is sent and not over.
    bool isPending() const { return !m_probe.time.isEmpty() && !isOver(); }

    bool hasTimedOut() const { return isOver() && m_outcome.httpStatus < 0; }

    /// Whether the daemon could not save the choice of its server, and so sent no probe.
    bool isUnsent() const { return m_isUnsent; }

    /// Done when the probe gave 200. The parameter is the status for a probe that failed.
    Verdict verdict(ExitStatus failed) const;

    /// The outcome on one line; safe for a terminal.
    QByteArray toText() const;

    /// The age for people, in brackets after a blank; empty before the end of the probe.
    QByteArray ageText() const;

    QJsonObject toJson() const;

    /// Empty when the log shows only the outcome, or no probe.
    QByteArray url() const { return m_probe.text; }

private:
    bool m_isUnsent = false; // since this server was chosen
    LogEvent m_probe;
    LogEvent m_outcome;
};
