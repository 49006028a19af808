#include "osversion.h"

#include <QTemporaryFile>
#include <QTest>

class TestOsVersion : public QObject
{
    Q_OBJECT

private slots:
    void systemType_data();
    void systemType();
};

void TestOsVersion::systemType_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("type");
    QTest::newRow("server") << QByteArray("[Version]\nProductType=Server\nEditionName=Home") << 1;
    QTest::newRow("home") << QByteArray("[Version]\nProductType=a\nEditionName=Home") << 2;
    QTest::newRow("device") << QByteArray("[Version]\nProductType=server\nEditionName=Device") << 3;
    QTest::newRow("both") << QByteArray("[Version]\nProductType=Server\nEditionName=Device") << 4;
    QTest::newRow("other key") << QByteArray("[Version]\nProductType[zh_CN]=Server") << 0;
    QTest::newRow("other group") << QByteArray("[Other]\nProductType=Server") << 0;
}

void TestOsVersion::systemType()
{
    QFETCH(QByteArray, content);
    QTemporaryFile file;
    QVERIFY(file.open() && file.write(content) > 0 && file.flush());
    QTEST(static_cast<int>(OsVersion::read(file.fileName()).systemType()), "type");
}

QTEST_GUILESS_MAIN(TestOsVersion)
#include "testosversion.moc"
