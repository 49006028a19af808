#include "serverjson.h"

#include "httpcommunication.h"
#include "jsontext.h"
#include "logencryption.h"
#include "logmessages.h"
#include "serverconf.h"
#include "sharedconstants.h"

#include <QDebug>
#include <QJsonDocument>
#include <QJsonObject>

#include <utility>

ServerJson::ServerJson(QObject *parent)
    : QObject(parent)
    , m_http(new HttpCommunication)
{
    connect(m_http, &HttpCommunication::receiveHealth, this, &ServerJson::sendHealthData);
    connect(m_http, &HttpCommunication::receiveHttpsData, this, &ServerJson::getServerData);
}

ServerJson::~ServerJson()
{
    std::exchange(m_http, nullptr)->deleteLater();
}

QJsonDocument ServerJson::transQBytearrayToJsonDocument(const QByteArray &bytes)
{
    if (JsonText::hasDuplicateNames(bytes)) {
        qWarning() << "QJsonParseError " << QStringLiteral("two members of the same name");
        return {};
    }
    QJsonParseError error = {};
    QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError)
        qWarning() << "QJsonParseError " << error.errorString();
    return document;
}

QVariantMap ServerJson::parseJsonData(const QJsonDocument &document)
{
    return document.object().toVariantMap();
}

void ServerJson::getServerUrlConf(QVariantMap map)
{
    m_healthPath = map.value(healthPathName).toString();
    m_serverUrl = ServerConf::serverUrl(map);
    qDebug() << LogMessages::serverUrl << LogEncryption::encryptionMessage(m_serverUrl);
}

void ServerJson::sendHealthInfo()
{
    const QString url = m_serverUrl + m_healthPath;
    qDebug() << LogMessages::probe << LogEncryption::encryptionMessage(url);
    m_http->sendPost(url, {}, {});
}

void ServerJson::getServerData(int httpCode, const QVariantMap &headerData,
                               const QByteArray &returnData, const QString &postName)
{
    if (returnData.isEmpty())
        qWarning() << "getServerData is empty.";

    const QVariantMap info = parseJsonData(transQBytearrayToJsonDocument(returnData));
    if (m_http != nullptr && qobject_cast<HttpCommunication *>(sender()) == m_http)
        emit sendHttpsData(httpCode, headerData, info, postName);
}
