#pragma once

#include "exitstatus.h"

class LogView;
class QString;

/// Prints what a view shows of a log, without delay. A failure is told.
namespace LogPrinter {

enum class From { Beginning, Now };

/// All that there is. The path "-" is standard input.
ExitStatus print(const QString &path, LogView &view);

/// Goes on for ever, also with a log that is made later or anew; only a reader
/// who has left, which is no failure, or a failure ends it.
ExitStatus follow(const QString &path, LogView &view, From from);

} // namespace LogPrinter
