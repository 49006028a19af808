// server SOCKET: the least that a Qt server has to do: sends back what it receives.
// network URL: the least that a Qt process has to do to post by HTTPS once; prints a line when
// that is done, and stays.

#include "measure.h"

#include <QCoreApplication>
#include <QLocalServer>
#include <QLocalSocket>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrl>

namespace {

void serve(QLocalServer &server, const char *path)
{
    QObject::connect(&server, &QLocalServer::newConnection, &server, [&server] {
        QLocalSocket *client = server.nextPendingConnection();
        QObject::connect(client, &QLocalSocket::readyRead, client,
                         [client] { client->write(client->readAll()); });
    });
    QLocalServer::removeServer(QString::fromLocal8Bit(path));
    require(server.listen(QString::fromLocal8Bit(path)), path);
}

void postTo(QNetworkAccessManager &manager, const char *url)
{
    // With only the loopback up it would not try.
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    manager.setNetworkAccessible(QNetworkAccessManager::Accessible);
    QT_WARNING_POP
    QNetworkRequest request(QUrl(QString::fromLocal8Bit(url)));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    QNetworkReply *reply = manager.post(request, QByteArray());
    QObject::connect(reply, &QNetworkReply::finished, reply, [reply] {
        std::printf("%d\n", reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt());
        require(std::fflush(stdout) == 0, "fflush");
        reply->deleteLater();
    });
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const std::string what = argc < 3 ? "" : argv[1];
    if (what == "server") {
        QLocalServer server;
        serve(server, argv[2]);
        return QCoreApplication::exec();
    }
    if (what == "network") {
        QNetworkAccessManager manager;
        postTo(manager, argv[2]);
        return QCoreApplication::exec();
    }
    return 2;
}
