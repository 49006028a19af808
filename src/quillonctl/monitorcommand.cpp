#include "monitorcommand.h"

#include "logprinter.h"
#include "monitorview.h"
#include "options.h"

#include <unistd.h>

ExitStatus MonitorCommand::run(const Options &options)
{
    using LogPrinter::From;
    MonitorView view(::isatty(STDOUT_FILENO) == 1 && qEnvironmentVariableIsEmpty("NO_COLOR"),
                     options.since);
    return LogPrinter::follow(Paths::logFile, view,
                              options.since.isEmpty() ? From::Now : From::Beginning);
}
