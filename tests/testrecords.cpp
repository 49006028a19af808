#include "osversion.h"
#include "serverconf.h"

#include <QTemporaryFile>
#include <QTest>

class TestRecords : public QObject
{
    Q_OBJECT

private slots:
    void configuration_data();
    void configuration();
    void version_data();
    void version();
};

void TestRecords::configuration_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("healthPath");
    const auto row = [](const char *name, const char *content, const char *url,
                        const char *path = "/v1/harbor/health") {
        QTest::newRow(name) << QByteArray(content) << QString::fromUtf8(url)
                            << QString::fromUtf8(path);
    };
    const char *main = "https://main.quillon.invalid";
    const char *main1 = "https://main1.quillon.invalid";
    row("all absent", R"({"x":1})", main);
    row("array", R"([1])", main);
    row("second", R"({"confDefaultIndex":1})", main1);
    row("behind the last", R"({"confDefaultIndex":2})", "");
    row("before the first", R"({"confDefaultIndex":-1})", "");
    row("index of text", R"({"confDefaultIndex":"1"})", main);
    row("fraction", R"({"confDefaultIndex":0.7})", main);
    row("beyond int", R"({"confDefaultIndex":1e300})", main);
    row("own list", R"({"defaultUrl":["a","b"],"confDefaultIndex":1})", "b");
    row("list with a number", R"({"defaultUrl":[5]})", "5");
    row("list of another type", R"({"defaultUrl":"a"})", "");
    row("https", R"({"confDefault":false,"confCustomUrl":"h:1/p"})", "https://h:1/p");
    row("http", R"({"confDefault":false,"confCustomUrl":"h","confCustomHeadindex":1})", "http://h");
    row("unknown scheme", R"({"confDefault":false,"confCustomUrl":"h","confCustomHeadindex":7})",
        "https://h");
    row("scheme of another type",
        R"({"confDefault":false,"confCustomUrl":"h","confCustomHeadindex":true})", "https://h");
    row("text is not true", R"({"confDefault":"true","confCustomUrl":"h"})", "https://h");
    row("null is not absent", R"({"confDefault":null,"confCustomUrl":5})", "https://");
    row("own path", R"({"healthPath":"/\u00e9"})", main, "/\u00e9");
    row("path of another type", R"({"healthPath":5})", main, "");
}

void TestRecords::configuration()
{
    QFETCH(const QByteArray, content);
    const QVariantMap map = ServerConf::parse(content).map;
    QTEST(ServerConf::serverUrl(map), "url");
    QTEST(map.value(QStringLiteral("healthPath")).toString(), "healthPath");

    QCOMPARE(ServerConf::parse(ServerConf::toFileContent(map)).map, map);
}

void TestRecords::version_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("fields");
    const auto row = [](const char *name, const char *content, SystemType type,
                        const char *fields) {
        QTest::newRow(name) << QByteArray(content) << int{type} << QString::fromUtf8(fields);
    };
    row("every field",
        "[Version]\nSystemName=Z\nSystemName[zh_CN]=\xe6\xb3\xbd\nProductType=Server\n"
        "ProductType[zh_CN]=P\nEditionName=Home\nEditionName[zh_CN]=E\nMajorVersion=020\n"
        "MinorVersion=1.10\nOsBuild=1,2\n",
        ServerEdition, "Z|\u6cfd|Server|P|Home|E|020|1.10|");
    row("server device", "[Version]\nProductType=Server\nEditionName=Device\n", ServerDeviceEdition,
        "||Server||Device||||");
    row("server alone", "[Version]\nProductType=Server\n", ServerEdition, "||Server||||||");
    row("other letter case", "[Version]\nProductType=server\nEditionName=Device\n", DeviceEdition,
        "||server||Device||||");
    row("home", "[Version]\nProductType=Desktop\nEditionName=Home\n", HomeEdition,
        "||Desktop||Home||||");
    row("only translated", "[Version]\nProductType[zh_CN]=Server\nEditionName=home\n", OtherEdition,
        "|||Server|home||||");
    row("outside the group", "ProductType=Server\n[Other]\nEditionName=Home\n", OtherEdition,
        "||||||||");
}

void TestRecords::version()
{
    QFETCH(const QByteArray, content);
    QTemporaryFile file;
    QVERIFY(file.open() && file.write(content) == content.size() && file.flush());

    const OsVersion v = OsVersion::read(file.fileName());
    QTEST(int{v.systemType()}, "type");
    const QStringList fields{v.systemName,    v.systemNameZh, v.productType,
                             v.productTypeZh, v.editionName,  v.editionNameZh,
                             v.majorVersion,  v.minorVersion, v.osBuild};
    QTEST(fields.join(QLatin1Char('|')), "fields");
}

QTEST_GUILESS_MAIN(TestRecords)
#include "testrecords.moc"
