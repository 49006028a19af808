// The least that a Qt process needs for the same work.
//   server SOCKET    listens
//   network URL      posts by HTTPS once, prints a line when that is done, and stays

#include "measure.h"

#include <QCoreApplication>
#include <QLocalServer>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrl>

namespace {

void postTo(QNetworkAccessManager &manager, const char *url)
{
    // Without this Qt does not try when only the loopback is up.
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
        const QString path = QString::fromLocal8Bit(argv[2]);
        QLocalServer server;
        QLocalServer::removeServer(path);
        require(server.listen(path), argv[2]);
        return QCoreApplication::exec();
    }
    if (what == "network") {
        QNetworkAccessManager manager;
        postTo(manager, argv[2]);
        return QCoreApplication::exec();
    }
    return 2;
}
