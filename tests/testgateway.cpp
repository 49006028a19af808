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

/// Answers each whole request with the same bytes and then closes; keeps what it was sent.
class Site : public QTcpServer
{
public:
    explicit Site(const QByteArray &answer)
    {
        connect(this, &QTcpServer::newConnection, this, [this, answer] {
            QTcpSocket *peer = nextPendingConnection();
            connect(peer, &QTcpSocket::readyRead, peer, [this, answer, peer] {
                received += peer->readAll();
                if (!received.contains("Length: 0\r\n") && !received.endsWith("data"))
                    return;
                peer->write(answer);
                peer->disconnectFromHost();
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
    const Site site("HTTP/1.1 200 OK\r\nX-Y: z\r\n\r\n{\"a\":{\"b\":true},\"c\":[\"d\"]}");
    ServerJson gateway;
    QSignalSpy replies(&gateway, &ServerJson::sendHttpsData);
    gateway.getServerUrlConf({{QStringLiteral("confDefault"), false},
                              {QStringLiteral("confCustomHeadindex"), 1},
                              {QStringLiteral("confCustomUrl"), site.url.mid(7)},
                              {QStringLiteral("healthPath"), QStringLiteral("/x")}});
    gateway.sendHealthInfo();
    QTRY_COMPARE_WITH_TIMEOUT(replies.size(), 1, kTimeout);

    const QVariantList values = replies.takeFirst();
    QCOMPARE(values.at(0).toInt(), 200);
    QCOMPARE(values.at(1).toMap(), (QVariantMap{{QStringLiteral("X-Y"), QByteArray("z")}}));
    QCOMPARE(values.at(2).toMap(),
             (QVariantMap{{QStringLiteral("a"), QVariantMap{{QStringLiteral("b"), true}}},
                          {QStringLiteral("c"), QVariantList{QStringLiteral("d")}}}));
    QCOMPARE(values.at(3).toString(), site.url + QStringLiteral("/x"));

    // Without a sender nothing is passed on.
    QTest::ignoreMessage(QtWarningMsg, "getServerData is empty.");
    QTest::ignoreMessage(QtWarningMsg, "QJsonParseError  \"illegal value\"");
    gateway.getServerData(200, {}, "", QString());
    QVERIFY(replies.isEmpty());
}

void TestGateway::sendsToken()
{
    const Site site("HTTP/1.1 200 OK\r\n\r\nbody");
    HttpCommunication client;
    QSignalSpy replies(&client, &HttpCommunication::receiveHttpsData);
    client.sendPost(site.url, "data", QStringLiteral("ab\u00e9"));
    QTRY_COMPARE_WITH_TIMEOUT(replies.size(), 1, kTimeout);

    QCOMPARE(replies.first().at(2).toByteArray(), QByteArray("body"));
    QVERIFY(site.received.contains("Content-Type: application/json\r\n"));
    QVERIFY(site.received.contains("AuthToken: Bearer ab\xe9\r\n"));
    QVERIFY(site.received.contains("\r\n\r\ndata")); // Qt may have begun to send it again
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
