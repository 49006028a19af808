#include "logfilemanager.h"
#include "logline.h"

#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <thread>
#include <tuple>

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

static qint64 pretendedAge = 0; // seconds

// No system call sets a file's creation time, so the handler gets it from here.
extern "C" int statx(int directory, const char *path, int flags, unsigned int mask,
                     struct statx *file)
{
    const auto result = syscall(SYS_statx, directory, path, flags, mask, file);
    file->stx_btime.tv_sec = QDateTime::currentSecsSinceEpoch() - pretendedAge;
    return static_cast<int>(result);
}

class TestLog : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        pretendedAge = 0;
        QFile::remove(m_path);
        ServiceLog::getLogFilePath(m_path);
    }

    void writesLines();
    void deletesOverLimit();
    void keepsLinesOfThreadsWhole();

private:
    QByteArray content() const
    {
        QFile file(m_path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
    }
    static void log(QtMsgType type, const char *file, int line, const QString &text)
    {
        ServiceLog::InstallerMessageOutput(type, {file, line, "f", "category"}, text);
    }

    const QTemporaryDir m_dir;
    const QString m_path = m_dir.filePath(QStringLiteral("quillon.log"));
};

void TestLog::writesLines()
{
    // The time zone changes while the daemon runs. The handler keeps the text of a second.
    log(QtDebugMsg, "m", 1, QString());
    qputenv("TZ", "NPT-5:45");
    const qint64 before = QDateTime::currentSecsSinceEpoch();
    QTRY_VERIFY_WITH_TIMEOUT(QDateTime::currentSecsSinceEpoch() > before, 120'000);

    using LogLine::Level;
    using Row = std::tuple<QtMsgType, Level, const char *, const char *, QByteArray>;
    for (const auto &[type, level, file, text, written] : {
             Row{QtDebugMsg, Level::Debug, "/x/y/m.cpp", "a", "[Debug:TIME:m.cpp line:7] a\n"},
             Row{QtWarningMsg, Level::Warning, "m.cpp", "a", "[qWarning:TIME:m.cpp line:7] a\n"},
             Row{QtCriticalMsg, Level::Critical, nullptr, "a", "[Cirtiacl:TIME: line:7] a\n"},
             Row{QtFatalMsg, Level::Fatal, "m", "%1 %4", "[Fatal:TIME:m line:7] %1 %4\n"},
             Row{QtInfoMsg, Level::Info, "m", "\n\n\xc3\xa9\n",
                 "[Qinfo:TIME:m line:7] \n\n\xc3\xa9\n\n"},
         }) {
        QFile::remove(m_path);
        log(type, file, 7, QString::fromUtf8(text));

        QByteArray line = content();
        const int start = line.indexOf(':') + 1;
        const auto head = LogLine::headOf(line);
        QVERIFY(head.has_value());
        QCOMPARE(head->level, level);
        QCOMPARE(line.mid(head->textStart), QByteArray(text) + '\n');
        const QDateTime time =
            QDateTime::fromString(QString::fromLatin1(head->time), LogLine::kTimeFormat);
        QVERIFY(qAbs(time.secsTo(QDateTime::currentDateTime())) < 600);
        QCOMPARE(line.replace(start, LogLine::kTimeSize, "TIME"), written);
    }
    QCOMPARE(LogLine::timeText(1'700'040'000).data(), "2023-11-15 15:05:00");
}

void TestLog::deletesOverLimit()
{
    using Row = std::tuple<qint64, qint64, bool>;
    for (const auto &[bytes, age, stays] :
         {Row{52428800, 0, true}, Row{52428801, 0, false}, Row{2, 604800, true},
          Row{2, 604801, false}, Row{2, -1, false}}) {
        pretendedAge = age;
        qint64 second = 0;
        do { // again if the clock has ticked, since the file has aged then
            second = QDateTime::currentSecsSinceEpoch();
            QFile file(m_path);
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write("old") == 3);
            QVERIFY(file.resize(bytes));
            log(QtDebugMsg, "m", 1, QStringLiteral("next"));
        } while (QDateTime::currentSecsSinceEpoch() != second);

        const QByteArray written = content();
        QCOMPARE(written.startsWith("ol"), stays);
        QVERIFY(written.endsWith("] next\n"));
    }
}

void TestLog::keepsLinesOfThreadsWhole()
{
    const QByteArray text(20000, 'a');
    const auto write = [text] {
        for (int line = 0; line < 200; ++line)
            log(QtDebugMsg, "m", 1, QString::fromLatin1(text));
    };
    std::thread other(write);
    write();
    other.join();
    QCOMPARE(content().count("] " + text + '\n'), 400);
}

QTEST_GUILESS_MAIN(TestLog)
#include "testlog.moc"
