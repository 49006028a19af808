// line LOG COUNT BYTES: microseconds of a message with a scrambled text of so many bytes that goes
// through the handler into the log, then of the bare system calls for a line of the same length.
// scramble: MB/s for each size of text, as pairs.

#include "measure.h"

#include "logencryption.h"
#include "logfilemanager.h"

#include <QByteArray>
#include <QDebug>
#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

void writeMessage(const QByteArray &scrambled)
{
    qDebug() << "send data :" << scrambled;
}

void writeBare(const char *path, const QByteArray &line)
{
    struct statx status = {};
    statx(AT_FDCWD, path, 0, STATX_BASIC_STATS | STATX_BTIME, &status);
    const int log = open(path, O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    const auto size = static_cast<std::size_t>(line.size());
    require(write(log, line.constData(), size) == line.size(), "write");
    close(log);
}

void compareLines(const char *path, int count, int textBytes)
{
    const QByteArray text = LogEncryption::encryptionMessage(QByteArray(textBytes, 'x'));
    ServiceLog::getLogFilePath(QString::fromLocal8Bit(path));
    qInstallMessageHandler(ServiceLog::InstallerMessageOutput);
    ServiceLog::printAllLog();
    unlink(path);
    writeMessage(text);

    QFile log(QString::fromLocal8Bit(path));
    require(log.open(QIODevice::ReadOnly), path);
    const QByteArray line = log.readAll();
    // In turn, so that what the machine does meanwhile hits both.
    std::vector<double> handler, bare;
    for (int i = 0; i < count / 100; ++i) {
        handler.push_back(medianOf(100, [&] { writeMessage(text); }));
        bare.push_back(medianOf(100, [&] { writeBare(path, line); }));
    }
    for (auto *times : {&handler, &bare}) {
        const auto middle = times->begin() + static_cast<std::ptrdiff_t>(times->size() / 2);
        std::nth_element(times->begin(), middle, times->end());
        std::printf("%.3f\n", *middle);
    }
}

void scramble()
{
    constexpr int kLargest = 1024 * 1024;
    for (int size = 64; size <= kLargest; size *= 4) {
        const QByteArray text(size, 'x');
        const int calls = std::max(20, 100000 / size);
        const double time = medianOf(15, [&] {
            for (int i = 0; i < calls; ++i) {
                const QByteArray scrambled = LogEncryption::encryptionMessage(text);
                require(!scrambled.isEmpty(), "scramble");
            }
        });
        std::printf("%d\n%.1f\n", size, static_cast<double>(size) * calls / time);
    }
}

} // namespace

int main(int argc, char *argv[])
{
    const std::string what = argc < 2 ? "" : argv[1];
    if (what == "line" && argc == 5)
        compareLines(argv[2], std::atoi(argv[3]), std::atoi(argv[4]));
    else if (what == "scramble")
        scramble();
    else
        return 2;
    return 0;
}
