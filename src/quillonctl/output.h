#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

/// The exit status of the process.
enum class ExitStatus {
    Done = 0,
    Failed = 1, ///< the daemon refused, a file or the output failed, or a check found faults
    WrongUsage = 2,
    NoDaemon = 3,
    NoAnswer = 4,
    ProbeUnknown = 5,
    ProbeFailed = 6, ///< of a choice that was made
};

/// How a command ended.
struct Verdict
{
    ExitStatus status = ExitStatus::Done;
    const char *error = ""; ///< one of a fixed set, for programs; empty when done
    QByteArray message; ///< the error as text for people, on one line, in UTF-8

    bool isDone() const { return status == ExitStatus::Done; }

    /// Adds the members that every JSON document has.
    QJsonObject toJson(QJsonObject document = {}) const;
};

/// Writes to the standard streams, and makes texts safe for them.
namespace Output {

/// Writes the bytes unchanged and at once. Returns false when nothing more can be
/// written. Reports a failure, unless the reader has closed the pipe.
bool print(const QByteArray &bytes);

/// Writes one line with the program's name to standard error; the message is escaped.
void complain(const QByteArray &message);

/// Prints the document or the text, complains unless the verdict is done, and returns its status.
/// @param document empty for the verdict's own
ExitStatus conclude(const Verdict &verdict, bool asJson, const QJsonObject &document = {},
                    const QByteArray &text = {});

/// The object as one line of ASCII: everything else becomes a JSON escape.
QByteArray jsonLine(const QJsonObject &object);

/// The text as JSON; null when it is empty.
QJsonValue orNull(const QByteArray &utf8);

/// Makes a text safe for a terminal: control, format and direction characters and line separators
/// become \n, \r, \t, \xNN or \u{N}. In a text that is not UTF-8, bytes above 0x7E become \xNN.
QByteArray escaped(const QByteArray &text);

/// The verdict for a file that cannot be read. Names a user who can, if permission is missing.
Verdict unreadable(const QString &path, int errnoValue);

} // namespace Output
