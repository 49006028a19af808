// A log as the client shows it: the first byte chooses the filter, the second one is the size of
// the pieces in which the rest is read.

#include "target.h"

#include "logencryption.h"
#include "logevents.h"
#include "logtext.h"
#include "output.h"

using Fuzz::require;

namespace {

constexpr int kLevels = 5;

QByteArray rendered(const QVector<QByteArray> &pieces, LogLine::Level level,
                    const QByteArray &since)
{
    LogRenderer renderer(level, since);
    QByteArray text;
    for (const QByteArray &piece : pieces)
        text += renderer.add(piece);
    return text + renderer.rest();
}

QVector<QByteArray> eventTexts(const QVector<QByteArray> &pieces)
{
    LogEvents log;
    QVector<QByteArray> texts;
    for (const QByteArray &piece : pieces) {
        const QVector<LogEvent> events = log.add(piece);
        for (const LogEvent &event : events)
            texts.append(event.text);
    }
    return texts;
}

void checkFilter(const QByteArray &log, const QVector<QByteArray> &pieces, int choice)
{
    const auto level = static_cast<LogLine::Level>(choice % kLevels);
    const QByteArray since = choice / kLevels % 2 == 0 ? "" : "2024-02-29 12:00:00";
    const QByteArray whole = rendered({log}, level, since);
    require(rendered(pieces, level, since) == whole, "pieces are shown alike");
    require(Fuzz::isPlainText(whole), "what is shown is safe for a terminal");

    const QByteArray all = rendered({log}, LogLine::Level::Debug, {});
    require(all.count('\n') == log.count('\n'), "without a filter all lines are shown");
    require(whole.size() <= all.size(), "a filter adds nothing");
}

void checkEvents(const QByteArray &log, const QVector<QByteArray> &pieces)
{
    const QVector<QByteArray> texts = eventTexts({log});
    require(eventTexts(pieces) == texts, "pieces give the same events");
    for (const QByteArray &text : texts)
        require(Fuzz::isPlainText(text), "an event is safe for a terminal");
}

void checkScrambling(const QByteArray &text)
{
    const QByteArray scrambled = LogEncryption::encryptionMessage(text);
    const QByteArray plain = Output::escaped(QByteArray(text).replace('\\', "\\\\"));
    require(LogText::inClear(scrambled) == plain, "a scrambled text is shown in clear");
    require(Fuzz::isPlainText(plain) && !plain.contains('\n'), "an escaped text is one line");
    require(Output::escaped(plain) == plain, "escaping twice changes nothing");
}

} // namespace

void Fuzz::run(const QByteArray &input)
{
    if (input.size() < 2)
        return;
    const QByteArray log = input.mid(2);
    const QVector<QByteArray> pieces = Fuzz::piecesOf(log, static_cast<uchar>(input.at(1)) + 1);
    checkFilter(log, pieces, static_cast<uchar>(input.at(0)));
    checkEvents(log, pieces);
    checkScrambling(log);
}
