#pragma once

#include <QByteArray>
#include <QVector>

/// What a fuzz target consists of: run(), which each defines for itself, and
/// helpers to state what has to hold whatever comes in.
namespace Fuzz {

/// Feeds one input to the code under test.
void run(const QByteArray &input);

/// Ends the process, so that the input is reported, unless the claim holds.
void require(bool holds, const char *claim);

/// Whether a terminal shows the bytes as they are: UTF-8 whose only control,
/// format or separator characters are line feeds.
bool isPlainText(const QByteArray &bytes);

/// The bytes cut into pieces of the size, the last one may be smaller.
QVector<QByteArray> piecesOf(const QByteArray &bytes, int size);

} // namespace Fuzz
