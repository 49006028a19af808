#include "commandline.h"
#include "output.h"

#include <QCoreApplication>
#include <QTextCodec>

#include <csignal>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace {

/// Opens closed standard streams, or a file that we open would get their numbers.
/// Reads and writes fail as on a closed stream.
void holdClosedStreams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) < 0)
            ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

} // namespace

int main(int argc, char *argv[])
{
    holdClosedStreams();
    // Qt ignores SIGPIPE after it creates a socket. Make all commands behave the same.
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    qunsetenv("TZ"); // the log's times are those of the system
    // Qt's own warnings do not help the user.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    const QCoreApplication application(argc, argv);
    const ExitStatus status = CommandLine::run(QCoreApplication::arguments());
    return static_cast<int>(std::ferror(stdout) != 0 ? ExitStatus::Failed : status);
}
