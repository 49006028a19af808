#pragma once

#include <QObject>
#include <QVariantMap>

class HttpCommunication;
class QJsonDocument;

/// Stands between the core and the HTTPS client: knows the base URL and the
/// health path that requests are made of, relays health replies and parses the
/// body of any other reply.
class ServerJson : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(ServerJson)

public:
    explicit ServerJson(QObject *parent = nullptr);
    ~ServerJson() override;

    /// Parses bytes as JSON; a null document, with a warning, when they are not.
    QJsonDocument transQBytearrayToJsonDocument(const QByteArray &bytes);
    /// The document's top-level object; empty when there is none.
    QVariantMap parseJsonData(const QJsonDocument &document);

    /// Takes the server's base URL and the health path from a configuration (serverconf.h).
    void getServerUrlConf(QVariantMap map);
    /// Posts an empty body to the base URL followed by the health path.
    void sendHealthInfo();

public slots:
    /// Parses a reply; passes it on only when the client's own signal brought it.
    void getServerData(int httpCode, const QVariantMap &headerData, const QByteArray &returnData,
                       const QString &postName);

signals:
    /// Each reply but the health probe's. Arguments as
    /// HttpCommunication::receiveHttpsData(), with the body's parsed object in
    /// place of the body; empty when it holds none.
    void sendHttpsData(int httpCode, QVariantMap headerData, QVariantMap info, QString postName);
    /// HttpCommunication::receiveHealth(), unchanged.
    void sendHealthData(QVariantMap headerData, int statusCode);

private:
    HttpCommunication *m_http; // owned; deleted later, since it may be in the middle of a signal
    QString m_serverUrl;
    QString m_healthPath;
};
