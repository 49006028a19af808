#include "httpcommunication.h"
#include "logfilemanager.h"
#include "logmessages.h"
#include "paths.h"
#include "serviceagent.h"
#include "servicecore.h"
#include "sharedconstants.h"
#include "standardstreams.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QLocalSocket>
#include <QTextCodec>

#include <csignal>
#include <cstdlib>

#include <malloc.h>
#include <sys/stat.h>

namespace {

constexpr int kProbeWait = 1000; // ms

/// Frees the daemon from its starter's environment and closed streams.
void isolateFromStarter()
{
    StandardStreams::holdClosed();
    ::clearenv();
    // Qt's own event loop handles a request faster than glib's.
    ::setenv("QT_NO_GLIB", "1", 1);
    // Qt passes a server's "Negotiate" to Kerberos, which makes blocking DNS queries and looks for
    // root's credentials. It fails at once if its configuration is unreadable, not if missing.
    ::setenv("KRB5_CONFIG", "/", 1);
    // With a malloc arena for each of Qt's threads, many TLS handshakes took 25 MiB, not 16.
    ::mallopt(M_ARENA_MAX, 1);
    ::umask(::umask(0) | S_IWGRP | S_IWOTH); // only the owner can write new files
    // By default these signals end the process.
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
}

/// Whether a daemon listens at the socket.
bool isAnotherInstanceAlive(QLocalSocket &probe)
{
    probe.connectToServer(Paths::socket, QIODevice::ReadWrite);
    // An attempt that is still pending means a full backlog, so an instance listens.
    if (!probe.waitForConnected(kProbeWait))
        return probe.state() == QLocalSocket::ConnectingState;
    probe.disconnectFromServer();
    probe.close();
    return true;
}

} // namespace

int main(int argc, char *argv[])
{
    isolateFromStarter(); // before Qt reads the environment
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("quillon"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUILLON_VERSION));
    HttpCommunication::disablePlugins();

    QLocalSocket probe;
    if (isAnotherInstanceAlive(probe))
        return 0;

    QDir().mkpath(Paths::logDirectory);
    const QString logPath =
        QStringLiteral("%1/%2.log").arg(Paths::logDirectory, QCoreApplication::applicationName());
    ServiceLog::getLogFilePath(logPath);
    qInstallMessageHandler(ServiceLog::InstallerMessageOutput);
    ServiceLog::printAllLog();
    qInfo() << LogMessages::version << QCoreApplication::applicationVersion();

    ServiceCore core;
    ServiceAgent agent(&core, nullptr);
    agent.startService();
    QCoreApplication::exec();
    return 0;
}
