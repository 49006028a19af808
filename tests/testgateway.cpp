#include "httpcommunication.h"
#include "replyguard.h"
#include "serverjson.h"

#include <QNetworkReply>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

namespace {

constexpr int kTimeout = 120'000; // nothing takes as long, however slow the machine is

/// Answers each whole request with the same bytes; keeps what it was sent.
class Site : public QTcpServer
{
public:
    Site()
    {
        connect(this, &QTcpServer::newConnection, this, [this] {
            QTcpSocket *peer = nextPendingConnection();
            connect(peer, &QTcpSocket::readyRead, peer, [this, peer] {
                received += peer->readAll();
                if (received.contains("Length: 0\r\n") || received.endsWith("data"))
                    peer->write("HTTP/1.1 200 OK\r\nContent-Length: 26\r\n\r\n"
                                "{\"a\":{\"b\":true},\"c\":[\"d\"]}");
            });
        });
        listen(QHostAddress::LocalHost);
        url = QStringLiteral("http://127.0.0.1:%1").arg(serverPort());
    }

    QString url;
    QByteArray received;
};

class TimedOutReply : public QNetworkReply
{
public:
    TimedOutReply() { setError(TimeoutError, QString()); }
    void abort() override {}
    qint64 readData(char * /*data*/, qint64 /*size*/) override { return -1; }
};

} // namespace

class TestGateway : public QObject
{
    Q_OBJECT

private slots:
    void parsesBody();
    void sendsToken();
    void dropsTimeOut();
};

void TestGateway::parsesBody()
{
    const Site site;
    ServerJson gateway;
    QSignalSpy replies(&gateway, &ServerJson::sendHttpsData);
    gateway.getServerUrlConf({{QStringLiteral("confDefault"), false},
                              {QStringLiteral("confCustomHeadindex"), 1},
                              {QStringLiteral("confCustomUrl"), site.url.mid(7)},
                              {QStringLiteral("healthPath"), QStringLiteral("/x")}});
    gateway.sendHealthInfo();
    gateway.getServerData(500, {}, "{}", QString()); // nobody's signal: is not passed on
    QTRY_COMPARE_WITH_TIMEOUT(replies.size(), 1, kTimeout);

    const QVariantMap headers{{QStringLiteral("Content-Length"), QByteArray("26")}};
    const QVariantMap body{{QStringLiteral("a"), QVariantMap{{QStringLiteral("b"), true}}},
                           {QStringLiteral("c"), QVariantList{QStringLiteral("d")}}};
    QCOMPARE(replies.first(), (QVariantList{200, headers, body, site.url + QStringLiteral("/x")}));
}

void TestGateway::sendsToken()
{
    const Site site;
    HttpCommunication client;
    client.sendPost(site.url, "data", QStringLiteral("ab\u00e9"));
    QTRY_VERIFY_WITH_TIMEOUT(site.received.endsWith("\r\n\r\ndata"), kTimeout);
    QVERIFY(site.received.contains("Content-Type: application/json\r\n"));
    QVERIFY(site.received.contains("AuthToken: Bearer ab\xe9\r\n"));
}

void TestGateway::dropsTimeOut()
{
    auto *reply = new TimedOutReply;
    new ReplyGuard(reply, false); // owned by the reply
    HttpCommunication client;
    QTest::ignoreMessage(QtInfoMsg, "TimeoutError return \"\"");
    client.replyFinished(reply);
}

QTEST_GUILESS_MAIN(TestGateway)
#include "testgateway.moc"
