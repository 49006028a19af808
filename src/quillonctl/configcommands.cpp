#include "configcommands.h"

#include "configuration.h"
#include "daemonclient.h"
#include "frame.h"
#include "options.h"
#include "output.h"
#include "protocol.h"

#include <QJsonDocument>

namespace {

struct Verdict
{
    ExitStatus status = ExitStatus::Done;
    QString word; ///< one of a fixed few, for programs; empty when done
    QString message;
    std::optional<Configuration> configuration; ///< as far as it was seen, also with a failure
    int code = 0; ///< the daemon's reason to refuse; 0 is none
};

QByteArray frameOf(Protocol::MessageType type, QJsonObject members = {})
{
    members.insert(Protocol::typeName, QString::number(type));
    return Frame::pack(Frame::Client, QJsonDocument(members).toJson(QJsonDocument::Compact));
}

QByteArray choiceOf(int index)
{
    return frameOf(Protocol::ChooseServer, {{Protocol::serverIndexName, QString::number(index)}});
}

QString wordsFor(int code)
{
    switch (code) {
    case Protocol::FileUnusable:
        return QStringLiteral(
                   "its file %1 is missing or cannot be opened or written; look at the "
                   "file, its rights and the room on its disk, then choose again, as the "
                   "daemon may use the choice without having kept it")
            .arg(Paths::configuration);
    case Protocol::IndexOutOfRange:
        return QStringLiteral("it has no default server with this index; see 'quillonctl show', "
                              "and look at %1 and restart the daemon if none is listed")
            .arg(Paths::configuration);
    default:
        return QStringLiteral("its log may tell why, see 'quillonctl log'");
    }
}

Verdict refusal(const QJsonObject &status, Verdict verdict)
{
    verdict.status = ExitStatus::Refused;
    verdict.word = QStringLiteral("refused");
    verdict.code = Protocol::numberIn(status.value(Protocol::statusCodeName));
    verdict.message = QStringLiteral("the daemon refused with code %1: %2")
                          .arg(QString::number(verdict.code), wordsFor(verdict.code));
    const QString text = status.value(Protocol::statusTextName).toString();
    if (!text.isEmpty())
        verdict.message += QStringLiteral(" (%1)").arg(text);
    return verdict;
}

Verdict failure(const Reply &reply)
{
    switch (reply.outcome) {
    case Reply::Outcome::Unreachable:
        return {ExitStatus::NoDaemon, QStringLiteral("no-daemon"), reply.reason, {}, 0};
    case Reply::Outcome::Garbled:
        return {ExitStatus::Refused, QStringLiteral("bad-answer"), reply.reason, {}, 0};
    default:
        return {ExitStatus::NoAnswer, QStringLiteral("no-answer"), reply.reason, {}, 0};
    }
}

Verdict judge(const Reply &reply)
{
    Verdict verdict;
    verdict.configuration = Configuration::fromMessage(reply.configuration);
    if (!reply.status.isEmpty())
        return refusal(reply.status, verdict);
    if (reply.outcome != Reply::Outcome::Answered)
        return failure(reply);
    if (!verdict.configuration)
        return {ExitStatus::Refused,
                QStringLiteral("bad-answer"),
                QStringLiteral("the daemon's configuration lacks members or mistypes them"),
                {},
                0};
    return verdict;
}

Verdict judgeChoice(const Reply &reply, int index)
{
    Verdict verdict = judge(reply);
    if (verdict.status == ExitStatus::NoAnswer)
        verdict.message += QStringLiteral("; the choice may still take effect");
    const auto &seen = verdict.configuration;
    if (verdict.status != ExitStatus::Done || (seen->usesDefault && seen->defaultIndex == index))
        return verdict;

    verdict.status = ExitStatus::Refused;
    verdict.word = QStringLiteral("not-taken");
    const QString server = seen->serverInUse();
    verdict.message =
        QStringLiteral("the daemon told no fault, but does not use default server "
                       "%1; in use is %2")
            .arg(QString::number(index), server.isEmpty() ? QStringLiteral("no server") : server);
    return verdict;
}

QByteArray documentOf(const Verdict &verdict)
{
    QJsonObject document{{QStringLiteral("ok"), verdict.status == ExitStatus::Done},
                         {QStringLiteral("status"), static_cast<int>(verdict.status)}};
    if (!verdict.word.isEmpty()) {
        document.insert(QStringLiteral("error"), verdict.word);
        document.insert(QStringLiteral("message"), verdict.message);
    }
    if (verdict.code != 0)
        document.insert(QStringLiteral("code"), verdict.code);
    if (verdict.configuration) {
        const QString server = verdict.configuration->serverInUse();
        document.insert(QStringLiteral("configuration"), verdict.configuration->toJson());
        document.insert(QStringLiteral("serverInUse"),
                        server.isEmpty() ? QJsonValue() : QJsonValue(server));
    }
    return Output::jsonLine(document);
}

ExitStatus conclude(const Options &options, const Verdict &verdict)
{
    const bool isDone = verdict.status == ExitStatus::Done;
    bool isPrinted = true;
    if (options.json)
        isPrinted = Output::print(documentOf(verdict));
    else if (isDone)
        isPrinted = Output::print(verdict.configuration->toText());
    if (!isDone)
        Output::complain(verdict.message);
    return isPrinted ? verdict.status : ExitStatus::Refused;
}

} // namespace

ExitStatus ConfigCommands::show(const Options &options)
{
    const DaemonClient client(options.timeout, options.wait);
    return conclude(options, judge(client.ask(configurationRequest())));
}

ExitStatus ConfigCommands::use(const Options &options)
{
    const DaemonClient client(options.timeout, options.wait);
    const QByteArray request = choiceOf(options.serverIndex) + configurationRequest();
    return conclude(options, judgeChoice(client.ask(request), options.serverIndex));
}

QByteArray ConfigCommands::configurationRequest()
{
    return frameOf(Protocol::Configuration);
}

QByteArray ConfigCommands::failureDocument(ExitStatus status, const QString &word,
                                           const QString &message)
{
    return documentOf({status, word, message, {}, 0});
}
