#include "logcommand.h"

#include "logprinter.h"
#include "logrenderer.h"
#include "options.h"

ExitStatus LogCommand::run(const Options &options)
{
    LogRenderer renderer(options.level, options.since);
    return options.follow ? LogPrinter::follow(options.file, renderer, LogPrinter::From::Beginning)
                          : LogPrinter::print(options.file, renderer);
}
