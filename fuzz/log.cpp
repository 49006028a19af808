// A log as the client shows it: the first byte chooses the filter, the second the size of the
// pieces in which the rest is read.

#include "target.h"

#include "logencryption.h"
#include "logevents.h"
#include "logrenderer.h"
#include "logtext.h"
#include "terminaltext.h"

using Fuzz::require;

namespace {

constexpr int kLevels = 5;

QByteArray shown(const QVector<QByteArray> &pieces, LogText::Level level, const QByteArray &since)
{
    LogRenderer renderer(level, since);
    QByteArray text;
    for (const QByteArray &piece : pieces)
        text += renderer.add(piece);
    return text + renderer.rest();
}

// NOLINTNEXTLINE(bugprone-easily-swappable-parameters): both are arbitrary
void checkFilter(const QByteArray &log, int choice, int size)
{
    const auto level = static_cast<LogText::Level>(choice % kLevels);
    const QByteArray since = choice / kLevels % 2 == 0 ? "" : "2024-02-29 12:00:00";
    const QByteArray whole = shown({log}, level, since);
    require(shown(Fuzz::piecesOf(log, size), level, since) == whole, "pieces show the same");
    require(Fuzz::isPlainText(whole), "what is shown drives no terminal");

    const QByteArray all = shown({log}, LogText::Level::Debug, {});
    require(all.count('\n') == log.count('\n'), "without a filter all lines are shown");
    require(whole.size() <= all.size(), "a filter adds nothing");
}

void checkEvents(const QByteArray &log, int size)
{
    LogEvents pieces;
    int count = 0;
    const QVector<QByteArray> parts = Fuzz::piecesOf(log, size);
    for (const QByteArray &part : parts) {
        const QVector<LogEvent> events = pieces.add(part);
        for (const LogEvent &event : events) {
            require(Fuzz::isPlainText(event.text), "what is told drives no terminal");
            ++count;
        }
    }
    require(LogEvents().add(log).size() == count, "pieces tell the same");
}

void checkScrambling(const QByteArray &text)
{
    const QByteArray scrambled = LogEncryption::encryptionMessage(text);
    // By chance the base64 can hold the letters of the marker; then it does not end there.
    if (scrambled.lastIndexOf(encryptedIdentity.data()) > 0)
        return;
    const QByteArray plain = TerminalText::escaped(QByteArray(text).replace('\\', "\\\\"));
    require(LogText::inClear(scrambled) == plain, "what was scrambled is shown in clear");
    require(Fuzz::isPlainText(plain) && !plain.contains('\n'), "an escaped text is one line");
    require(TerminalText::escaped(plain) == plain, "escaped twice is escaped once");
}

} // namespace

void Fuzz::run(const QByteArray &input)
{
    if (input.size() < 2)
        return;
    const QByteArray log = input.mid(2);
    checkFilter(log, static_cast<uchar>(input.at(0)), static_cast<uchar>(input.at(1)) + 1);
    checkEvents(log, static_cast<uchar>(input.at(1)) + 1);
    checkScrambling(log);
}
