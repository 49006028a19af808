#pragma once

#include "output.h"

#include <QStringList>

namespace CommandLine {

/// Runs the command in the arguments, which begin with the program's name; status without one.
ExitStatus run(QStringList arguments);

} // namespace CommandLine
