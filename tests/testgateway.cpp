#include "httpcommunication.h"
#include "logencryption.h"
#include "serverjson.h"

#include <QNetworkReply>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

namespace {

/// Answers each whole request with the same bytes and then closes; keeps what it was sent.
class Site : public QTcpServer
{
public:
    explicit Site(QByteArray answer)
        : m_answer(std::move(answer))
    {
        connect(this, &QTcpServer::newConnection, this, [this] {
            QTcpSocket *peer = nextPendingConnection();
            connect(peer, &QTcpSocket::readyRead, peer, [this, peer] {
                received += peer->readAll();
                const int end = received.lastIndexOf("\r\n\r\n");
                const int length = received.mid(received.lastIndexOf("Length: ") + 8, 1).toInt();
                if (end < 0 || received.size() < end + 4 + length)
                    return;
                peer->write(m_answer);
                peer->disconnectFromHost();
            });
        });
        listen(QHostAddress::LocalHost);
    }

    QString url(const QString &path) const
    {
        return QStringLiteral("http://127.0.0.1:%1%2").arg(serverPort()).arg(path);
    }

    QByteArray received;

private:
    const QByteArray m_answer;
};

class FailedReply : public QNetworkReply
{
public:
    FailedReply(NetworkError error, const QUrl &url)
    {
        setError(error, QStringLiteral("text"));
        setUrl(url);
    }
    void abort() override {}
    qint64 readData(char * /*data*/, qint64 /*size*/) override { return -1; }
};

QStringList messages; // clazy:exclude=non-pod-global-static

void keepMessage(QtMsgType /*type*/, const QMessageLogContext & /*context*/, const QString &text)
{
    messages.append(text);
}

QString scrambled(const QString &text)
{
    return QLatin1Char('"') + QString::fromLatin1(LogEncryption::encryptionMessage(text))
           + QLatin1Char('"');
}

} // namespace

class TestGateway : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup() { qInstallMessageHandler(nullptr); }

    void routesReplies_data();
    void routesReplies();
    void sendsToken();
    void dropsTimeOut();
};

void TestGateway::init()
{
    messages.clear();
    qInstallMessageHandler(keepMessage);
}

void TestGateway::routesReplies_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<bool>("isHealth");
    QTest::addColumn<int>("status");
    QTest::addColumn<QVariantMap>("info");
    QTest::addColumn<QStringList>("warnings");
    const auto row = [](const char *name, const char *path, const char *answer, bool isHealth,
                        int status, const QVariantMap &info, const QStringList &warnings) {
        QTest::newRow(name) << QString::fromUtf8(path) << QByteArray("HTTP/1.1 ") + answer
                            << isHealth << status << info << warnings;
    };
    const QString empty = QStringLiteral("getServerData is empty.");
    const QString noJson = QStringLiteral("QJsonParseError  \"illegal value\"");
    const QString failed404 =
        QStringLiteral("Failed:  404 QNetworkReply::ContentNotFoundError \"Error transferring ");
    const QVariantMap nested{{QStringLiteral("a"), QVariantMap{{QStringLiteral("b"), true}}},
                             {QStringLiteral("c"), QVariantList{QStringLiteral("d")}}};
    row("health", "/v1/health", "200 OK\r\nX-Y: z\r\n\r\n{}", true, 200, {}, {});
    row("query", "/health?x=1", "200 OK\r\nX-Y: z\r\n\r\n", true, 200, {}, {});
    row("escaped", "/%68ealth#f", "204 OK\r\nX-Y: z\r\n\r\n", true, 204, {}, {});
    row("redirect", "/health", "302 OK\r\nX-Y: z\r\nLocation: /other\r\n\r\n", true, 302, {}, {});
    row("failed health", "/health", "404 No\r\nX-Y: z\r\n\r\n", true, 404, {}, {failed404});
    row("slash behind", "/health/", "200 OK\r\nX-Y: z\r\n\r\n{\"a\":{\"b\":true},\"c\":[\"d\"]}",
        false, 200, nested, {});
    row("letter case", "/Health", "200 OK\r\nX-Y: z\r\n\r\n[1]", false, 200, {}, {});
    row("longer", "/healthz", "404 No\r\nX-Y: z\r\n\r\n<html>", false, 404, {},
        {failed404, noJson});
    row("no body", "/", "200 OK\r\nX-Y: z\r\n\r\n", false, 200, {}, {empty, noJson});
}

void TestGateway::routesReplies()
{
    QFETCH(const QString, path);
    QFETCH(const QByteArray, answer);
    QFETCH(const bool, isHealth);
    QFETCH(const QStringList, warnings);
    const Site site(answer);
    ServerJson gateway;
    QSignalSpy health(&gateway, &ServerJson::sendHealthData);
    QSignalSpy other(&gateway, &ServerJson::sendHttpsData);
    gateway.getServerUrlConf({{QStringLiteral("confDefault"), false},
                              {QStringLiteral("confCustomHeadindex"), 1},
                              {QStringLiteral("confCustomUrl"), site.url(QString()).mid(7)},
                              {QStringLiteral("healthPath"), path}});
    gateway.sendHealthInfo();
    QTRY_COMPARE(health.size() + other.size(), 1);
    QCOMPARE(health.size(), isHealth ? 1 : 0);

    const QString url = scrambled(site.url(path));
    QVERIFY(messages.contains(QStringLiteral("sendHealthInfo url : ") + url));
    QVERIFY(messages.contains(QStringLiteral("http sendPost url: ") + url));
    const QStringList seen = messages.filter(
        QRegularExpression(QStringLiteral("^(Failed|getServerData is empty|QJsonParseError)")));
    QCOMPARE(seen.size(), warnings.size());
    for (int i = 0; i < seen.size(); ++i)
        QVERIFY2(seen.at(i).startsWith(warnings.at(i)), qPrintable(seen.at(i)));

    const QVariantList values = isHealth ? health.takeFirst() : other.takeFirst();
    QCOMPARE(values.at(isHealth ? 0 : 1).toMap().value(QStringLiteral("X-Y")),
             QVariant(QByteArray("z")));
    QTEST(values.at(isHealth ? 1 : 0).toInt(), "status");
    if (isHealth)
        return;
    QTEST(values.at(2).toMap(), "info");
    QCOMPARE(values.at(3).toString(), site.url(path));
}

void TestGateway::sendsToken()
{
    const Site site("HTTP/1.1 200 OK\r\nSet-Cookie: a=b\r\n\r\nbody");
    HttpCommunication client;
    QSignalSpy replies(&client, &HttpCommunication::receiveHttpsData);
    client.sendPost(site.url(QStringLiteral("/x")), "data", {});
    QTRY_COMPARE(replies.size(), 1);
    QVERIFY(!site.received.contains("AuthToken"));
    client.sendPost(site.url(QStringLiteral("/x")), "data", QStringLiteral("ab\u00e9"));
    QTRY_COMPARE(replies.size(), 2);

    QCOMPARE(replies.first().at(2).toByteArray(), QByteArray("body"));
    QVERIFY(messages.contains(QStringLiteral("returnByte ") + scrambled(QStringLiteral("body"))));
    QVERIFY(site.received.contains("Content-Type: application/json\r\n"));
    QVERIFY(site.received.contains("AuthToken: Bearer ab\xe9\r\n"));
    QVERIFY(site.received.endsWith("\r\n\r\ndata"));
    QVERIFY(!site.received.contains("Cookie"));
}

void TestGateway::dropsTimeOut()
{
    HttpCommunication client;
    QSignalSpy health(&client, &HttpCommunication::receiveHealth);
    const QUrl url(QStringLiteral("http://h/health"));
    client.replyFinished(new FailedReply(QNetworkReply::TimeoutError, url));
    QCOMPARE(messages,
             {QStringLiteral("TimeoutError return ") + scrambled(QStringLiteral("health"))});
    QVERIFY(health.isEmpty());

    client.replyFinished(new FailedReply(QNetworkReply::HostNotFoundError, url));
    QCOMPARE(messages.last(),
             QStringLiteral("Failed:  0 QNetworkReply::HostNotFoundError \"text\""));
    QCOMPARE(health.takeFirst(), (QVariantList{QVariantMap(), 0}));
}

QTEST_GUILESS_MAIN(TestGateway)
#include "testgateway.moc"
