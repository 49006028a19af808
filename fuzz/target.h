#pragma once

#include <QByteArray>
#include <QVector>

/// A fuzz target defines run(). The other functions help it to state what has to
/// hold for every input.
namespace Fuzz {

/// Feeds one input to the code under test.
void run(const QByteArray &input);

/// Aborts unless the claim holds, so that the input is reported.
void require(bool holds, const char *claim);

/// Whether the bytes are safe for a terminal: UTF-8 without control, format and
/// separator characters except line feeds.
bool isPlainText(const QByteArray &bytes);

/// The bytes cut into pieces of the size; the last one may be smaller.
QVector<QByteArray> piecesOf(const QByteArray &bytes, int size);

} // namespace Fuzz
