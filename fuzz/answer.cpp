// What the client receives from the daemon: the first byte is the size of the pieces in which it
// comes.

#include "target.h"

#include "daemonclient.h"

#include <algorithm>

using Fuzz::require;

namespace {

/// The bytes of an incomplete message are kept until more come, as the client does it.
Reply replyOf(const QByteArray &bytes, int size)
{
    Reply reply;
    QByteArray unread;
    const auto pieces = Fuzz::piecesOf(bytes, size);
    for (const QByteArray &piece : pieces) {
        unread += piece;
        if (DaemonClient::take(unread, reply))
            break;
    }
    return reply;
}

void checkConfiguration(const Configuration &configuration)
{
    require(Fuzz::isPlainText(configuration.toText()), "the text is safe for a terminal");

    const auto again = Configuration::fromMessage(configuration.toJson());
    require(again.has_value(), "the client reads its own JSON");
    if (configuration.toJson().value(QStringLiteral("loaded")).toBool())
        require(*again == configuration, "its own JSON has the same content");
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

    const Reply whole = replyOf(bytes, bytes.size());
    const Reply pieces = replyOf(bytes, size);
    require(pieces.verdict.message == whole.verdict.message, "pieces have the same flaw");
    require(pieces.refusal == whole.refusal, "pieces have the same refusal");
    require(pieces.configuration == whole.configuration, "pieces have the same configuration");

    checkLine(whole.refusal);
    if (whole.configuration)
        checkConfiguration(*whole.configuration);
}
