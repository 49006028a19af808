#include "target.h"

#include <QChar>
#include <QString>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {

void discard(QtMsgType /*type*/, const QMessageLogContext & /*context*/, const QString & /*text*/)
{
}

bool isPlain(uint character)
{
    switch (QChar::category(character)) {
    case QChar::Other_Control:
        return character == '\n';
    case QChar::Other_Format:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return false;
    default:
        return true;
    }
}

} // namespace

void Fuzz::require(bool holds, const char *claim)
{
    if (holds)
        return;
    static_cast<void>(std::fprintf(stderr, "does not hold: %s\n", claim));
    std::abort();
}

bool Fuzz::isPlainText(const QByteArray &bytes)
{
    const QString text = QString::fromUtf8(bytes);
    const QVector<uint> characters = text.toUcs4();
    return text.toUtf8() == bytes && std::all_of(characters.begin(), characters.end(), isPlain);
}

QVector<QByteArray> Fuzz::piecesOf(const QByteArray &bytes, int size)
{
    QVector<QByteArray> pieces;
    for (int position = 0; position < bytes.size(); position += size)
        pieces.append(bytes.mid(position, size));
    return pieces;
}

// Called by libFuzzer or driver.cpp.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
    qInstallMessageHandler(discard); // after the text was put together
    Fuzz::run(QByteArray(reinterpret_cast<const char *>(data), static_cast<int>(size)));
    return 0;
}
