#pragma once

#include <QNetworkAccessManager>
#include <QObject>
#include <QTimer>
#include <QVariantMap>

class QNetworkReply;

/// The HTTPS client: posts data and reports each reply by one signal, unless it timed out or was
/// dropped. It parses no body and does not retry (Qt may). A reply is identified only by its URL.
class HttpCommunication : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(HttpCommunication)

public:
    explicit HttpCommunication(QObject *parent = nullptr);

    /// Keeps Qt from loading plugins. Call once, before any client is built.
    static void disablePlugins();

    /// Posts the data to the URL and returns at once. A signal reports the outcome. There is none
    /// if the request times out (after 60 s at the latest) or is dropped. The fifth request
    /// since Qt's connections were closed, and each until they are, drops all that are outstanding.
    /// @param token sent in the header "AuthToken" unless empty; the health probe has no token
    void sendPost(const QString &url, const QByteArray &data, QString token);

public slots:
    /// Reports a finished reply and schedules its deletion.
    void replyFinished(QNetworkReply *reply);

signals:
    /// Emitted once for each reply, except a health probe's and one that timed out or was dropped.
    /// @param httpCode HTTP status; 0 when there was no HTTP response
    /// @param headerData maps each header name, as the server wrote it, to the raw QByteArray
    /// @param returnData the body; cut where the connection exceeds its limit of bytes
    /// @param postName the reply's URL
    void receiveHttpsData(int httpCode, const QVariantMap &headerData, const QByteArray &returnData,
                          QString postName);

    /// Emitted instead, without reading the body, for a reply whose URL path ends in "/health".
    void receiveHealth(const QVariantMap &headerData, int statusCode);

private:
    void enableNetwork();
    void dropRequests();
    void closeIdleConnections();
    void checkConnections();

    QNetworkAccessManager m_manager;
    int m_requests = 0; // since Qt's connections were closed
    QTimer m_checkTimer; // runs while there may be connections
};
