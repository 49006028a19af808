#pragma once

#include <QList>
#include <QNetworkAccessManager>
#include <QObject>
#include <QVariantMap>

class QNetworkReply;

/// The HTTPS client: posts JSON and turns each finished reply into one signal.
/// It parses nothing, remembers no request and never retries; a reply is told
/// from another by its URL alone.
class HttpCommunication : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(HttpCommunication)

public:
    explicit HttpCommunication(QObject *parent = nullptr);
    ~HttpCommunication() override;

    /// Posts the data to the URL and returns at once; the outcome comes as a
    /// signal, or never when the request times out (after 60 s at the latest)
    /// or three newer ones were sent before it was answered.
    /// @param token goes into the header "AuthToken"; empty: no such header
    void sendPost(const QString &url, const QByteArray &data, QString token);

public slots:
    void replyFinished(QNetworkReply *reply);

signals:
    /// Each reply but the health endpoint's and those that timed out.
    /// @param httpCode 0 when there was no HTTP response
    /// @param headerData header name, as the server wrote it, to raw bytes
    /// @param returnData the body
    /// @param postName the reply's URL
    void receiveHttpsData(int httpCode, const QVariantMap &headerData, const QByteArray &returnData,
                          QString postName);

    /// The same for a reply whose URL path ends in the segment "health".
    void receiveHealth(const QVariantMap &headerData, int statusCode);

private:
    void allowUnknownNetwork();
    QList<QNetworkReply *> outstanding() const;
    void dropOldest();
    void drop(QNetworkReply *reply);
    void closeConnections();

    QNetworkAccessManager m_manager;
    int m_failedHandshakes = 0; // whose memory the toolkit still keeps
};
