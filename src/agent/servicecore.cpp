#include "servicecore.h"

#include "conffile.h"
#include "logencryption.h"
#include "logmessages.h"
#include "osversion.h"
#include "paths.h"
#include "protocol.h"
#include "serverconf.h"
#include "serverjson.h"
#include "sharedconstants.h"

#include <QDebug>
#include <QReadWriteLock>

#include <chrono>

struct ServiceCorePrivate
{
    QVariantMap m_confMap; // empty until the file has been loaded
    ConfFile m_confFile{Paths::configuration};
    ServerJson *m_json = new ServerJson; // owned by the core, which deletes it later

    // Not used yet: later requests to the service will contain them.
    OsVersion m_osVersion;
    int systemType = OtherEdition;
};

namespace {

constexpr std::chrono::milliseconds kNetworkTimeout{8000};
constexpr int kHttpOk = 200;

// Guards the recorded status. Nothing reads it on another thread yet.
QReadWriteLock lock; // clazy:exclude=non-pod-global-static

} // namespace

ServiceCore::ServiceCore()
    : d_ptr(new ServiceCorePrivate)
{
    readOsVersionInfo();
    connect(&m_networkTimer, SIGNAL(timeout()), this, SLOT(checkNetworkTimeout()));
    initServerUrlConf();
    connect(d_ptr->m_json, &ServerJson::sendHealthData, this, &ServiceCore::parseNetWorkCheck);
    parseSystemType();
}

ServiceCore::~ServiceCore()
{
    d_ptr->m_json->deleteLater();
}

void ServiceCore::readOsVersionInfo()
{
    d_ptr->m_osVersion = OsVersion::read(Paths::osVersion);
}

void ServiceCore::parseSystemType()
{
    d_ptr->systemType = d_ptr->m_osVersion.systemType();
}

void ServiceCore::initServerUrlConf()
{
    const std::optional<QByteArray> content = d_ptr->m_confFile.read();
    if (!content) {
        qWarning() << LogMessages::fileNotOpened;
        return;
    }

    const ServerConf::Parsed parsed = ServerConf::parse(*content);
    if (parsed.map.isEmpty()) {
        qWarning() << LogMessages::fileNotParsed << parsed.error;
        return;
    }
    d_ptr->m_confMap = parsed.map;
    getServerUrlConf(d_ptr->m_confMap);
}

QVariantMap ServiceCore::getServerConfUrl() const
{
    return ServerConf::toReply(d_ptr->m_confMap);
}

void ServiceCore::getServerUrlConf(QVariantMap map)
{
    d_ptr->m_json->getServerUrlConf(map);
}

void ServiceCore::setDefaultServerUrl(int index)
{
    if (!d_ptr->m_confFile.exists())
        return refuse(LogMessages::fileMissing, Protocol::FileUnusable);
    if (!d_ptr->m_confFile.isWritable())
        return refuse(LogMessages::fileNotOpened, Protocol::FileUnusable);

    const QStringList servers = d_ptr->m_confMap.value(defaultUrlName).toStringList();
    qInfo() << "current defaultUrl confMap:" << LogEncryption::encryptionMessage(servers);
    if (index < 0 || index >= servers.size())
        return refuse(LogMessages::indexOutOfRange, Protocol::IndexOutOfRange);

    d_ptr->m_confMap.insert(confDefaultName, true);
    d_ptr->m_confMap.insert(confDefaultIndexName, index);
    getServerUrlConf(d_ptr->m_confMap);
    if (!d_ptr->m_confFile.replace(ServerConf::toFileContent(d_ptr->m_confMap)))
        return refuse(LogMessages::fileNotWritten, Protocol::FileUnusable);
    startCheckServer();
}

void ServiceCore::refuse(const char *reason, unsigned int code)
{
    qWarning() << reason;
    emit statusMessageChange(code);
}

void ServiceCore::startCheckServer()
{
    m_networkTimer.start(kNetworkTimeout);
    setTimeoutStatus(false);
    d_ptr->m_json->sendHealthInfo();
}

void ServiceCore::setTimeoutStatus(bool timedOut)
{
    m_timeoutStatus = timedOut;
}

void ServiceCore::parseNetWorkCheck(QVariantMap /*headerData*/, int nStatus)
{
    if (m_timeoutStatus)
        return;

    {
        const QWriteLocker recording(&lock);
        m_networkStatus = nStatus;
        qInfo() << LogMessages::probeStatus << m_networkStatus << "--------";
        if (m_networkStatus != kHttpOk)
            qWarning() << "warning: http nStatus " << m_networkStatus;
    }
    // Every reply stops the timer, whatever its status, or a timeout warning would follow.
    m_networkTimer.stop();
}

void ServiceCore::checkNetworkTimeout()
{
    qWarning() << LogMessages::probeTimeout;
    setTimeoutStatus(true);
    m_networkTimer.stop();
}
