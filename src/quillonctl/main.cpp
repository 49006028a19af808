#include "commands.h"
#include "standardstreams.h"

#include <QCoreApplication>
#include <QTextCodec>

#include <csignal>
#include <cstdio>

int main(int argc, char *argv[])
{
    StandardStreams::holdClosed();
    // Qt ignores SIGPIPE after it creates a socket. Make all commands behave the same.
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    qunsetenv("TZ"); // the log's times are those of the system
    // Qt's own warnings do not help the user.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    const QCoreApplication application(argc, argv);
    const ExitStatus status = Commands::run(QCoreApplication::arguments());
    return static_cast<int>(std::ferror(stdout) != 0 ? ExitStatus::Failed : status);
}
