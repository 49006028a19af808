#include "httpcommunication.h"
#include "osversion.h"
#include "serverjson.h"

#include <QNetworkReply>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryFile>
#include <QTest>

namespace {

constexpr int kTimeout = 120'000; // ms; longer than anything takes on a slow machine

/// Answers each complete request with the same bytes, and keeps the requests.
class Site : public QTcpServer
{
public:
    Site()
    {
        connect(this, &QTcpServer::newConnection, this, [this] {
            QTcpSocket *peer = nextPendingConnection();
            connect(peer, &QTcpSocket::readyRead, peer, [this, peer] {
                received += peer->readAll();
                if (received.contains("Length: 0\r\n"))
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

class TestAgent : public QObject
{
    Q_OBJECT

private slots:
    void version();
    void parsesBody();
    void sendsToken();
    void dropsTimeOut();
};

void TestAgent::version()
{
    QTemporaryFile file;
    QVERIFY(file.open());
    QVERIFY(file.write("[Version]\nSystemName[zh_CN]=\xe6\xb3\xbd\nEditionName=Device\n") > 0);
    QVERIFY(file.flush());
    const OsVersion version = OsVersion::read(file.fileName());
    QCOMPARE(version.systemNameZh, QStringLiteral("\u6cfd"));
    QCOMPARE(version.systemType(), DeviceEdition);

    QVERIFY(file.resize(1024 * 1024 + 1));
    QCOMPARE(OsVersion::read(file.fileName()).systemType(), OtherEdition);
}

void TestAgent::parsesBody()
{
    const Site site;
    ServerJson gateway;
    QSignalSpy replies(&gateway, &ServerJson::sendHttpsData);
    gateway.getServerUrlConf({{QStringLiteral("defaultUrl"), QStringList(site.url)},
                              {QStringLiteral("healthPath"), QStringLiteral("/x")}});
    gateway.sendHealthInfo();
    gateway.getServerData(500, {}, "{}", QString()); // nobody's signal: is not passed on
    QTRY_COMPARE_WITH_TIMEOUT(replies.size(), 1, kTimeout);

    const QVariantMap headers{{QStringLiteral("Content-Length"), QByteArray("26")}};
    const QVariantMap body{{QStringLiteral("a"), QVariantMap{{QStringLiteral("b"), true}}},
                           {QStringLiteral("c"), QVariantList{QStringLiteral("d")}}};
    QCOMPARE(replies.first(), (QVariantList{200, headers, body, site.url + QStringLiteral("/x")}));
}

void TestAgent::sendsToken()
{
    const Site site;
    HttpCommunication client;
    client.sendPost(site.url, "data", QStringLiteral("ab\u00e9"));
    QTRY_VERIFY_WITH_TIMEOUT(site.received.endsWith("\r\n\r\ndata"), kTimeout);
    QVERIFY(site.received.contains("AuthToken: Bearer ab\xe9\r\n"));
}

void TestAgent::dropsTimeOut()
{
    auto *reply = new TimedOutReply;
    HttpCommunication client;
    const QSignalSpy replies(&client, &HttpCommunication::receiveHttpsData);
    QTest::ignoreMessage(QtInfoMsg, "TimeoutError return \"\"");
    client.replyFinished(reply);
    QVERIFY(replies.isEmpty());
}

QTEST_GUILESS_MAIN(TestAgent)
#include "testagent.moc"
