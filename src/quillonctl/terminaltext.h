#pragma once

#include <QByteArray>

/// Makes texts from strangers fit for a terminal. Pure; any bytes may come in.
namespace TerminalText {

/// Printable UTF-8 stays. Control, format and direction characters and line
/// separators become \n, \r, \t, \xNN or \u{N}, bytes that are no UTF-8 \xNN.
QByteArray escaped(const QByteArray &text);

} // namespace TerminalText
