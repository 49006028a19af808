// What the client receives from the daemon: the first byte is the size of the pieces in which it
// comes.

#include "target.h"

#include "daemonclient.h"

#include <algorithm>

using Fuzz::require;

namespace {

/// The bytes of an incomplete message are kept until more come, as the client does it.
Answer::Batch parseInPieces(const QByteArray &bytes, int size)
{
    Answer::Batch all;
    QByteArray unread;
    const auto pieces = Fuzz::piecesOf(bytes, size);
    for (const QByteArray &piece : pieces) {
        unread += piece;
        const Answer::Batch batch = Answer::parse(unread);
        unread.remove(0, batch.end);
        all.messages += batch.messages;
        all.end += batch.end;
        all.flaw = batch.flaw;
        if (!all.flaw.isEmpty())
            break;
    }
    return all;
}

void checkConfiguration(const QJsonObject &message)
{
    const auto configuration = Configuration::fromMessage(message);
    if (!configuration)
        return;
    require(Fuzz::isPlainText(configuration->toText()), "the text is safe for a terminal");

    const auto again = Configuration::fromMessage(configuration->toJson());
    require(again.has_value(), "the client reads its own JSON");
    if (configuration->toJson().value(QStringLiteral("loaded")).toBool())
        require(*again == *configuration, "its own JSON has the same content");
}

void checkLine(const QJsonObject &message)
{
    const QByteArray line = Output::jsonLine(message);
    const auto isPrintable = [](char byte) { return byte >= ' ' && byte <= '~'; };
    require(line.endsWith('\n') && std::all_of(line.begin(), line.end() - 1, isPrintable),
            "JSON is printed as one line of ASCII");
}

} // namespace

void Fuzz::run(const QByteArray &input)
{
    const int size = input.isEmpty() ? 1 : static_cast<uchar>(input.front()) + 1;
    const QByteArray bytes = input.mid(1);

    const Answer::Batch whole = Answer::parse(bytes);
    require(whole.end >= 0 && whole.end <= bytes.size(), "messages end inside the bytes");

    const Answer::Batch pieces = parseInPieces(bytes, size);
    require(pieces.messages == whole.messages, "pieces give the same messages");
    require(pieces.end == whole.end, "pieces leave the same rest");
    require(pieces.flaw == whole.flaw, "pieces have the same flaw");

    for (const QJsonObject &message : whole.messages) {
        checkConfiguration(message);
        checkLine(message);
    }
}
