#include "httpcommunication.h"
#include "osversion.h"
#include "serverconf.h"
#include "serverjson.h"

#include <QNetworkReply>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryFile>
#include <QTest>

#include <tuple>

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
    void configuration();
    void version();
    void parsesBody();
    void sendsToken();
    void dropsTimeOut();
};

void TestAgent::configuration()
{
    const char *main = "https://main.quillon.invalid";
    using Row = std::tuple<const char *, const char *>;
    for (const auto &[members, url] : {
             Row{R"("x":1)", main},
             Row{R"("confDefaultIndex":1)", "https://main1.quillon.invalid"},
             Row{R"("confDefaultIndex":2)", ""},
             Row{R"("confDefaultIndex":-1)", ""},
             Row{R"("confDefaultIndex":"1")", main},
             Row{R"("confDefaultIndex":0.7)", main},
             Row{R"("confDefaultIndex":1e300)", main},
             Row{R"("defaultUrl":["a","b"],"confDefaultIndex":1)", "b"},
             Row{R"("defaultUrl":[5])", "5"},
             Row{R"("defaultUrl":"a")", ""},
             Row{R"("confDefault":false,"confCustomUrl":"h:1/p")", "https://h:1/p"},
             Row{R"("confDefault":false,"confCustomUrl":"h","confCustomHeadindex":1)", "http://h"},
             Row{R"("confDefault":false,"confCustomUrl":"h","confCustomHeadindex":7)", "https://h"},
             Row{R"("confDefault":false,"confCustomUrl":"h","confCustomHeadindex":true)",
                 "https://h"},
             Row{R"("confDefault":"true","confCustomUrl":"h")", "https://h"},
             Row{R"("confDefault":null,"confCustomUrl":5)", "https://"},
         }) {
        const QVariantMap map = ServerConf::parse('{' + QByteArray(members) + '}').map;
        QVERIFY2(ServerConf::serverUrl(map) == QLatin1String(url), members);
        QVERIFY2(ServerConf::parse(ServerConf::toFileContent(map)).map == map, members);
    }
    for (const auto &[content, path] : {
             Row{"[1]", "/v1/harbor/health"},
             Row{R"({"healthPath":"/\u00e9"})", "/\u00e9"},
             Row{R"({"healthPath":5})", ""},
         }) {
        const QVariantMap map = ServerConf::parse(content).map;
        QCOMPARE(map.value(QStringLiteral("healthPath")).toString(), QString::fromUtf8(path));
    }
}

void TestAgent::version()
{
    using Row = std::tuple<const char *, SystemType, const char *>;
    for (const auto &[content, type, expected] : {
             Row{"SystemName=Z\nSystemName[zh_CN]=\xe6\xb3\xbd\nProductType=Server\n"
                 "ProductType[zh_CN]=P\nEditionName=Home\nEditionName[zh_CN]=E\nMajorVersion=020\n"
                 "MinorVersion=1.10\nOsBuild=1,2",
                 ServerEdition, "Z|\u6cfd|Server|P|Home|E|020|1.10|"},
             Row{"ProductType=Server\nEditionName=Device", ServerDeviceEdition,
                 "||Server||Device||||"},
             Row{"ProductType=Server", ServerEdition, "||Server||||||"},
             Row{"ProductType=server\nEditionName=Device", DeviceEdition, "||server||Device||||"},
             Row{"ProductType=Desktop\nEditionName=Home", HomeEdition, "||Desktop||Home||||"},
             Row{"ProductType[zh_CN]=Server\nEditionName=home", OtherEdition, "|||Server|home||||"},
             Row{"[Other]\nProductType=Server\nEditionName=Home", OtherEdition, "||||||||"},
         }) {
        QTemporaryFile file;
        QVERIFY(file.open() && file.write("[Version]\n") > 0 && file.write(content) > 0);
        QVERIFY(file.flush());
        const OsVersion v = OsVersion::read(file.fileName());
        const QStringList fields{v.systemName,    v.systemNameZh, v.productType,
                                 v.productTypeZh, v.editionName,  v.editionNameZh,
                                 v.majorVersion,  v.minorVersion, v.osBuild};
        QCOMPARE(fields.join(QLatin1Char('|')), QString::fromUtf8(expected));
        QCOMPARE(v.systemType(), type);
    }
}

void TestAgent::parsesBody()
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

void TestAgent::sendsToken()
{
    const Site site;
    HttpCommunication client;
    client.sendPost(site.url, "data", QStringLiteral("ab\u00e9"));
    QTRY_VERIFY_WITH_TIMEOUT(site.received.endsWith("\r\n\r\ndata"), kTimeout);
    QVERIFY(site.received.contains("Content-Type: application/json\r\n"));
    QVERIFY(site.received.contains("AuthToken: Bearer ab\xe9\r\n"));
}

void TestAgent::dropsTimeOut()
{
    auto *reply = new TimedOutReply;
    HttpCommunication client;
    QTest::ignoreMessage(QtInfoMsg, "TimeoutError return \"\"");
    client.replyFinished(reply);
}

QTEST_GUILESS_MAIN(TestAgent)
#include "testagent.moc"
