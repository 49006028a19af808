#include "commandline.h"
#include "configcommands.h"
#include "output.h"

#include <QCoreApplication>
#include <QTextCodec>

#include <fcntl.h>
#include <unistd.h>

namespace {

void discard(QtMsgType /*type*/, const QMessageLogContext & /*context*/, const QString & /*text*/)
{
}

/// The toolkit's own warnings are not for the user, and no variable may make them fatal.
void silenceToolkit()
{
    qunsetenv("QT_FATAL_WARNINGS");
    qunsetenv("QT_FATAL_CRITICALS");
    qInstallMessageHandler(discard);
}

/// Whatever we open would otherwise become a standard stream that the caller
/// has closed; using these fails as using a closed one does.
void holdClosedStreams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) < 0)
            ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

ExitStatus run(const QStringList &arguments)
{
    const CommandLine::Invocation invocation = CommandLine::parse(arguments);
    if (invocation.run != nullptr)
        return invocation.run(invocation.options);
    if (invocation.fault.isEmpty())
        return Output::print(invocation.text.toUtf8()) ? ExitStatus::Done : ExitStatus::Refused;

    if (CommandLine::asksForJson(arguments))
        Output::print(ConfigCommands::failureDocument(ExitStatus::WrongUsage,
                                                      QStringLiteral("usage"), invocation.fault));
    Output::complain(invocation.fault);
    return ExitStatus::WrongUsage;
}

} // namespace

int main(int argc, char *argv[])
{
    holdClosedStreams();
    qunsetenv("TZ"); // the log's times are those of the system
    silenceToolkit();
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("quillonctl"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUILLON_VERSION));
    return static_cast<int>(run(QCoreApplication::arguments()));
}
