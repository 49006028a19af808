// The same request over D-Bus.
//   service ADDRESS       answers with the configuration; prints a line when it is ready
//   call ADDRESS COUNT    prints the microseconds of one blocking call

#include "measure.h"

#include "conffile.h"
#include "paths.h"
#include "serverconf.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>

namespace {

const QString kName = QStringLiteral("org.example.Bench");
const QString kPath = QStringLiteral("/");

QDBusConnection busAt(const char *address)
{
    return QDBusConnection::connectToBus(QString::fromLatin1(address), kName);
}

} // namespace

class Service : public QObject
{
    Q_OBJECT

public slots:
    Q_SCRIPTABLE QVariantMap configuration() const { return m_reply; }

private:
    const QVariantMap m_reply = ServerConf::toReply(
        ServerConf::parse(ConfFile(Paths::configuration).read().value_or(QByteArray())).map);
};

namespace {

int serve(const char *address)
{
    QDBusConnection bus = busAt(address);
    Service service;
    require(bus.registerObject(kPath, &service, QDBusConnection::ExportScriptableSlots)
                && bus.registerService(kName),
            address);
    std::puts("ready");
    require(std::fflush(stdout) == 0, "fflush");
    return QCoreApplication::exec();
}

int call(const char *address, int count)
{
    const QDBusConnection bus = busAt(address);
    const auto message =
        QDBusMessage::createMethodCall(kName, kPath, QString(), QStringLiteral("configuration"));
    std::printf("%.3f\n", medianOf(count, [&] {
                    const QDBusMessage reply = bus.call(message, QDBus::Block);
                    require(reply.type() == QDBusMessage::ReplyMessage, "call");
                }));
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const std::string what = argc < 3 ? "" : argv[1];
    if (what == "service")
        return serve(argv[2]);
    if (what == "call" && argc == 4)
        return call(argv[2], std::stoi(argv[3]));
    return 2;
}

#include "dbus.moc"
