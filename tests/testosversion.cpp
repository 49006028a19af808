#include "osversion.h"

#include <QTemporaryFile>
#include <QTest>

#include <utility>

class TestOsVersion : public QObject
{
    Q_OBJECT

private slots:
    void systemType()
    {
        const std::pair<QByteArray, SystemType> rows[] = {
            {"ProductType=Server\nEditionName=Home", ServerEdition},
            {"ProductType=a\nEditionName=Home", HomeEdition},
            {"ProductType=server\nEditionName=Device", DeviceEdition},
            {"ProductType=Server\nEditionName=Device", ServerDeviceEdition},
            {"ProductType=Server\n;" + QByteArray(1024 * 1024, 'x'), OtherEdition},
        };
        for (const auto &[keys, type] : rows) {
            QTemporaryFile file;
            QVERIFY(file.open() && file.write("[Version]\n" + keys) > 0 && file.flush());
            QCOMPARE(OsVersion::read(file.fileName()).systemType(), type);
        }
    }
};

QTEST_GUILESS_MAIN(TestOsVersion)
#include "testosversion.moc"
