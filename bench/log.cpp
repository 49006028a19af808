// log PATH COUNT BYTES: prints the microseconds of a message with a scrambled text of that many
// bytes that goes through the handler into the log, then those of the bare system calls for a line
// of the same length.

#include "measure.h"

#include "logencryption.h"
#include "logfilemanager.h"

#include <QByteArray>
#include <QFile>

namespace {

constexpr int kLinesInARow = 100;

void writeMessage(const QByteArray &scrambled)
{
    qDebug("send data : \"%s\"", scrambled.constData());
}

std::string contentOf(const char *path)
{
    QFile log(QString::fromLocal8Bit(path));
    require(log.open(QIODevice::ReadOnly), path);
    return log.readAll().toStdString();
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 4)
        return 2;
    const QByteArray scrambled =
        LogEncryption::encryptionMessage(QByteArray(std::stoi(argv[3]), 'x'));
    ServiceLog::getLogFilePath(QString::fromLocal8Bit(argv[1]));
    qInstallMessageHandler(ServiceLog::InstallerMessageOutput);
    ServiceLog::printAllLog();
    unlink(argv[1]);
    writeMessage(scrambled);
    const std::string line = contentOf(argv[1]);

    // In turn, so that other load on the machine hits both.
    std::vector<double> handler;
    std::vector<double> bare;
    for (int lines = 0; lines < std::stoi(argv[2]); lines += kLinesInARow) {
        handler.push_back(medianOf(kLinesInARow, [&] { writeMessage(scrambled); }));
        bare.push_back(medianOf(kLinesInARow, [&] { appendLine(argv[1], line); }));
    }
    std::printf("%.3f\n%.3f\n", median(handler), median(bare));
    return 0;
}
