#include "serviceagent.h"

#include "localServer.h"
#include "logmessages.h"
#include "servicecore.h"
#include "sharedconstants.h"

#include <QDebug>

#include <memory>

struct ServiceAgentPrivate
{
    ServiceCore *m_core; // not owned
    std::unique_ptr<LocalServer> m_localServer;
    ServiceAgent *q_ptr;
};

ServiceAgent::ServiceAgent(ServiceCore *core, QObject *parent)
    : QObject(parent)
    , d_ptr(new ServiceAgentPrivate{core, {}, this})
{
    d_ptr->m_localServer = std::make_unique<LocalServer>();
    initLocalServerConnect();
    initHarborConnect();
}

ServiceAgent::~ServiceAgent() = default;

void ServiceAgent::startService()
{
    qDebug() << "\n\n***Start Service [START]***";
    d_ptr->m_core->startCheckServer();
}

void ServiceAgent::ImportDefaultServerUrl(const int &index)
{
    qDebug() << LogMessages::choice;
    d_ptr->m_core->setDefaultServerUrl(index);
}

void ServiceAgent::initLocalServerConnect()
{
    LocalServer *server = d_ptr->m_localServer.get();
    connect(
        server, &LocalServer::setServerUrl, server,
        [this](int index) { ImportDefaultServerUrl(index); }, Qt::DirectConnection);
    connect(
        server, &LocalServer::requestServerConfUrl, server,
        [this, server] { server->sendServerConfUrl(d_ptr->m_core->getServerConfUrl()); },
        Qt::DirectConnection);
}

void ServiceAgent::initHarborConnect()
{
    connect(d_ptr->m_core, &ServiceCore::statusMessageChange, d_ptr->m_localServer.get(),
            &LocalServer::sendActiveMsg);
}
