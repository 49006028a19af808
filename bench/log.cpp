// line LOG COUNT BYTES: microseconds of a message with a scrambled text of so many bytes that goes
// through the handler into the log, then of the bare system calls for a line of the same length.
// scramble: MB/s for each size of text, as pairs.

#include "measure.h"

#include "logencryption.h"
#include "logfilemanager.h"

#include <QByteArray>
#include <QDebug>
#include <QFile>

#include <unistd.h>

namespace {

void writeMessage(const QByteArray &scrambled)
{
    qDebug() << "send data :" << scrambled;
}

void compareLines(const char *path, int count, const QByteArray &text)
{
    const QByteArray scrambled = LogEncryption::encryptionMessage(text);
    ServiceLog::getLogFilePath(QString::fromLocal8Bit(path));
    qInstallMessageHandler(ServiceLog::InstallerMessageOutput);
    ServiceLog::printAllLog();
    unlink(path);
    writeMessage(scrambled);

    QFile log(QString::fromLocal8Bit(path));
    require(log.open(QIODevice::ReadOnly), path);
    const std::string line = log.readAll().toStdString();
    // In turn, so that what the machine does meanwhile hits both.
    std::vector<double> handler;
    std::vector<double> bare;
    for (int i = 0; i < count / 100; ++i) {
        handler.push_back(medianOf(100, [&] { writeMessage(scrambled); }));
        bare.push_back(medianOf(100, [&] { appendLine(path, line); }));
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
        compareLines(argv[2], std::stoi(argv[3]), QByteArray(std::stoi(argv[4]), 'x'));
    else if (what == "scramble")
        scramble();
    else
        return 2;
    return 0;
}
