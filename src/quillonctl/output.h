#pragma once

#include <QByteArray>

class QJsonObject;
class QString;

/// The two standard streams, safe for a terminal to show.
namespace Output {

/// Writes the bytes as they are, without delay. False when they cannot be
/// written, which has been told unless it is only that the reader has left.
bool print(const QByteArray &bytes);

/// Writes one line with the program's name to standard error; what would drive
/// a terminal is escaped.
void complain(const QString &message);

/// The object as one line of pure ASCII: anything else stands escaped as JSON does it.
QByteArray jsonLine(const QJsonObject &object);

} // namespace Output
