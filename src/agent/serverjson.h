#pragma once

#include <QObject>
#include <QVariantMap>

class HttpCommunication;
class QJsonDocument;

/// Connects the core to the HTTPS client: builds the URL of the probe from the base URL and the
/// health path, relays health replies and parses the body of any other reply.
class ServerJson : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(ServerJson)

public:
    explicit ServerJson(QObject *parent = nullptr);
    ~ServerJson() override;

    /// Parses bytes as JSON. Returns a null document, with a warning, when they
    /// are not valid JSON or an object has two members of the same name.
    QJsonDocument transQBytearrayToJsonDocument(const QByteArray &bytes);
    /// Returns the document's top-level object; empty when there is none.
    QVariantMap parseJsonData(const QJsonDocument &document);

    /// Sets base URL and health path from a configuration (serverconf.h). Either may be empty.
    void getServerUrlConf(QVariantMap map);
    /// Posts an empty body to the base URL followed by the health path.
    void sendHealthInfo();

public slots:
    /// Parses a reply's body. Emits sendHttpsData() only when it runs as the
    /// slot of this object's own client. Arguments as HttpCommunication::receiveHttpsData().
    void getServerData(int httpCode, const QVariantMap &headerData, const QByteArray &returnData,
                       const QString &postName);

signals:
    /// Emitted once for each reply that does not answer a health probe. The daemon
    /// does not use it yet. Arguments as HttpCommunication::receiveHttpsData().
    /// @param info the top-level object of the body; empty when there is none
    void sendHttpsData(int httpCode, QVariantMap headerData, QVariantMap info, QString postName);
    /// Emitted for each HttpCommunication::receiveHealth(), unchanged.
    void sendHealthData(QVariantMap headerData, int statusCode);

private:
    HttpCommunication *m_http; // owned; deleted later: it may be emitting a signal
    QString m_serverUrl;
    QString m_healthPath;
};
