#include "osversion.h"
#include "serverconf.h"

#include <QTemporaryFile>
#include <QTest>

#include <tuple>

class TestRecords : public QObject
{
    Q_OBJECT

private slots:
    void configuration();
    void version();
};

void TestRecords::configuration()
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

void TestRecords::version()
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

QTEST_GUILESS_MAIN(TestRecords)
#include "testrecords.moc"
