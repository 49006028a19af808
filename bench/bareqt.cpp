// bareqt SOCKET [URL]: the least that a Qt process needs for the same work. It listens. With a URL,
// it also posts there once, and prints the status of the reply.

#include "calls.h"

#include <QCoreApplication>
#include <QLocalServer>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrl>

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QString path = QString::fromLocal8Bit(argv[1]);
    QLocalServer server;
    QLocalServer::removeServer(path);
    require(server.listen(path), argv[1]);
    if (argc < 3)
        return QCoreApplication::exec();

    QNetworkAccessManager manager;
    // Without this Qt does not try when only the loopback is up.
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    manager.setNetworkAccessible(QNetworkAccessManager::Accessible);
    QT_WARNING_POP
    QNetworkRequest request(QUrl(QString::fromLocal8Bit(argv[2])));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    QNetworkReply *reply = manager.post(request, QByteArray());
    QObject::connect(reply, &QNetworkReply::finished, reply, [reply] {
        std::printf("%d\n", reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt());
        require(std::fflush(stdout) == 0, "fflush");
        reply->deleteLater();
    });
    return QCoreApplication::exec();
}
