#include "osversion.h"
#include "serverconf.h"

#include <QTemporaryFile>
#include <QTest>

class TestRecords : public QObject
{
    Q_OBJECT

private slots:
    void configuration();
    void version();
};

void TestRecords::configuration()
{
    const QString main = QStringLiteral("https://main.quillon.invalid");
    const QString main1 = QStringLiteral("https://main1.quillon.invalid");
    const struct
    {
        const char *content;
        QString url;
        QString path = QStringLiteral("/v1/harbor/health");
    } rows[] = {
        {R"({"x":1})", main},
        {R"([1])", main},
        {R"({"confDefaultIndex":1})", main1},
        {R"({"confDefaultIndex":2})", {}},
        {R"({"confDefaultIndex":-1})", {}},
        {R"({"confDefaultIndex":"1"})", main},
        {R"({"confDefaultIndex":0.7})", main},
        {R"({"confDefaultIndex":1e300})", main},
        {R"({"defaultUrl":["a","b"],"confDefaultIndex":1})", QStringLiteral("b")},
        {R"({"defaultUrl":[5]})", QStringLiteral("5")},
        {R"({"defaultUrl":"a"})", {}},
        {R"({"confDefault":false,"confCustomUrl":"h:1/p"})", QStringLiteral("https://h:1/p")},
        {R"({"confDefault":false,"confCustomUrl":"h","confCustomHeadindex":1})",
         QStringLiteral("http://h")},
        {R"({"confDefault":false,"confCustomUrl":"h","confCustomHeadindex":7})",
         QStringLiteral("https://h")},
        {R"({"confDefault":false,"confCustomUrl":"h","confCustomHeadindex":true})",
         QStringLiteral("https://h")},
        {R"({"confDefault":"true","confCustomUrl":"h"})", QStringLiteral("https://h")},
        {R"({"confDefault":null,"confCustomUrl":5})", QStringLiteral("https://")},
        {R"({"healthPath":"/\u00e9"})", main, QStringLiteral("/\u00e9")},
        {R"({"healthPath":5})", main, {}},
    };
    for (const auto &row : rows) {
        const QVariantMap map = ServerConf::parse(row.content).map;
        QVERIFY2(ServerConf::serverUrl(map) == row.url, row.content);
        QVERIFY2(map.value(QStringLiteral("healthPath")) == row.path, row.content);
        QVERIFY2(ServerConf::parse(ServerConf::toFileContent(map)).map == map, row.content);
    }
}

void TestRecords::version()
{
    const struct
    {
        const char *content;
        SystemType type;
        const char *fields;
    } rows[] = {
        {"[Version]\nSystemName=Z\nSystemName[zh_CN]=\xe6\xb3\xbd\nProductType=Server\n"
         "ProductType[zh_CN]=P\nEditionName=Home\nEditionName[zh_CN]=E\nMajorVersion=020\n"
         "MinorVersion=1.10\nOsBuild=1,2\n",
         ServerEdition, "Z|\u6cfd|Server|P|Home|E|020|1.10|"},
        {"[Version]\nProductType=Server\nEditionName=Device\n", ServerDeviceEdition,
         "||Server||Device||||"},
        {"[Version]\nProductType=Server\n", ServerEdition, "||Server||||||"},
        {"[Version]\nProductType=server\nEditionName=Device\n", DeviceEdition,
         "||server||Device||||"},
        {"[Version]\nProductType=Desktop\nEditionName=Home\n", HomeEdition, "||Desktop||Home||||"},
        {"[Version]\nProductType[zh_CN]=Server\nEditionName=home\n", OtherEdition,
         "|||Server|home||||"},
        {"ProductType=Server\n[Other]\nEditionName=Home\n", OtherEdition, "||||||||"},
    };
    for (const auto &row : rows) {
        QTemporaryFile file;
        QVERIFY(file.open() && file.write(row.content) > 0 && file.flush());
        const OsVersion v = OsVersion::read(file.fileName());
        const QStringList fields{v.systemName,    v.systemNameZh, v.productType,
                                 v.productTypeZh, v.editionName,  v.editionNameZh,
                                 v.majorVersion,  v.minorVersion, v.osBuild};
        QCOMPARE(fields.join(QLatin1Char('|')), QString::fromUtf8(row.fields));
        QCOMPARE(v.systemType(), row.type);
    }
}

QTEST_GUILESS_MAIN(TestRecords)
#include "testrecords.moc"
