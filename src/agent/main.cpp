#include "isolation.h"
#include "logfilemanager.h"
#include "paths.h"
#include "serviceagent.h"
#include "servicecore.h"
#include "sharedconstants.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QLocalSocket>
#include <QTextCodec>

#include <chrono>

#include <malloc.h>

namespace {

constexpr std::chrono::milliseconds kProbeWait{1000};
constexpr int kOwnMappingBytes = 512 * 1024;
constexpr int kMaxFreeBytes = 1024 * 1024;

/// With a heap for each thread, and limits that grow with what was freed, the
/// memory that one busy hour took would not go back to the system.
void keepHeapSmall()
{
    ::mallopt(M_ARENA_MAX, 1);
    ::mallopt(M_MMAP_THRESHOLD, kOwnMappingBytes); // above what an ordinary message takes
    ::mallopt(M_TRIM_THRESHOLD, kMaxFreeBytes);
}

/// An instance with a full backlog takes no connection, but is alive: nobody is
/// only behind a socket that is missing or refuses.
bool isBusy(const QLocalSocket &probe)
{
    return QFileInfo::exists(Paths::socket) && probe.error() != QLocalSocket::ServerNotFoundError
           && probe.error() != QLocalSocket::ConnectionRefusedError;
}

bool isAnswered(QLocalSocket &probe)
{
    probe.connectToServer(Paths::socket, QIODevice::ReadWrite);
    if (!probe.waitForConnected(static_cast<int>(kProbeWait.count())))
        return isBusy(probe);
    probe.disconnectFromServer();
    probe.close();
    return true;
}

} // namespace

int main(int argc, char *argv[])
{
    isolateFromStarter();
    keepHeapSmall();
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("quillon"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUILLON_VERSION));
    // Nothing of ours lives in a plugin; the network plugins would poll and start a bus library.
    QCoreApplication::setLibraryPaths({});

    QLocalSocket probe;
    if (isAnswered(probe))
        return 0;

    const QDir directory;
    if (!directory.exists(Paths::logDirectory))
        directory.mkpath(Paths::logDirectory);
    const QString logPath =
        QStringLiteral("%1/%2.log").arg(Paths::logDirectory, QCoreApplication::applicationName());
    ServiceLog::getLogFilePath(logPath);
    qInstallMessageHandler(ServiceLog::InstallerMessageOutput);
    ServiceLog::printAllLog();
    qInfo() << "\n\nversion:" << QCoreApplication::applicationVersion();

    ServiceCore core;
    ServiceAgent agent(&core, nullptr);
    agent.startService();
    QCoreApplication::exec();
    return 0;
}
