// What the client receives from the daemon: the first byte tells into how large pieces it is cut.

#include "target.h"

#include "answer.h"
#include "configuration.h"
#include "output.h"
#include "protocol.h"

#include <algorithm>

using Fuzz::require;

namespace {

/// As the client does it: what is no whole message yet waits for more.
Answer::Batch parsedInPieces(const QByteArray &bytes, int size)
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
    require(Fuzz::isPlainText(configuration->toText()), "the text drives no terminal");

    const auto again = Configuration::fromMessage(configuration->toJson());
    require(again.has_value(), "the client understands its own document");
    if (configuration->isLoaded)
        require(again->toText() == configuration->toText(), "the document tells the same");
}

void checkLine(const QJsonObject &message)
{
    const QByteArray line = Output::jsonLine(message);
    const auto isAscii = [](char byte) { return byte >= ' ' && byte <= '~'; };
    require(line.endsWith('\n') && std::all_of(line.begin(), line.end() - 1, isAscii),
            "a document is one line of ASCII");
}

} // namespace

void Fuzz::run(const QByteArray &input)
{
    const int size = input.isEmpty() ? 1 : static_cast<uchar>(input.front()) + 1;
    const QByteArray bytes = input.mid(1);

    const Answer::Batch whole = Answer::parse(bytes);
    require(whole.end >= 0 && whole.end <= bytes.size(), "messages end inside the bytes");

    const Answer::Batch pieces = parsedInPieces(bytes, size);
    require(pieces.messages == whole.messages, "pieces make the same messages");
    require(pieces.end == whole.end, "pieces leave the same rest");
    require(pieces.flaw == whole.flaw, "pieces have the same flaw");

    for (const QJsonObject &message : whole.messages) {
        Protocol::numberIn(message.value(Protocol::typeName));
        checkConfiguration(message);
        checkLine(message);
    }
}
