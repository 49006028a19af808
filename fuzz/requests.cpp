// What a client writes: the frames, the objects in them and the requests that these make.

#include "target.h"

#include "frame.h"
#include "localServer.h"

#include <QCoreApplication>
#include <QJsonObject>
#include <QLocalSocket>
#include <QString>

#include <algorithm>
#include <utility>

using Fuzz::require;

namespace {

/// A client whose bytes the server reads all at once.
class Peer : public QLocalSocket
{
public:
    Peer() { setOpenMode(QIODevice::ReadOnly); }

    void write(const QByteArray &bytes)
    {
        m_unread = bytes;
        emit readyRead();
    }

    qint64 bytesAvailable() const override { return m_unread.size(); }

protected:
    qint64 readData(char *data, qint64 maxSize) override
    {
        const QByteArray read = m_unread.left(static_cast<int>(maxSize));
        m_unread.remove(0, read.size());
        std::copy(read.cbegin(), read.cend(), data);
        return read.size();
    }

private:
    QByteArray m_unread;
};

class Service
{
public:
    Service()
    {
        using Qt::DirectConnection;
        QObject::connect(&m_peer, &QLocalSocket::readyRead, &m_server,
                         &LocalServer::recvClientData);
        QObject::connect(&m_server, &LocalServer::setServerUrl, &m_server,
                         [this](int index) { m_chosen.append(index); });
        QObject::connect(&m_server, &LocalServer::requestServerConfUrl, &m_server,
                         [this] { ++m_asked; });
    }

    QVariantList parse(const QByteArray &bytes) { return m_server.parseRecvData(bytes); }

    void receive(const QByteArray &bytes)
    {
        m_chosen.clear();
        m_asked = 0;
        m_peer.write(bytes);
    }

    const QVector<int> &chosen() const { return m_chosen; }
    int asked() const { return m_asked; }

private:
    int m_argumentCount = 1;
    char m_name[1] = "";
    char *m_arguments[2] = {m_name, nullptr};
    const QCoreApplication m_application{m_argumentCount, m_arguments};
    LocalServer m_server;
    Peer m_peer;
    QVector<int> m_chosen;
    int m_asked = 0;
};

int checkFrames(const QByteArray &input)
{
    int position = 0;
    for (int frames = 0;; ++frames) {
        const Frame::Slice slice = Frame::take(input, position, Frame::Client);
        if (slice.state != Frame::State::Complete) {
            require(slice.end == position, "an incomplete frame takes no bytes");
            require(slice.payload.isEmpty(), "an incomplete frame has no payload");
            return frames;
        }
        require(slice.end <= input.size(), "a frame ends inside the bytes");
        require(Frame::pack(Frame::Client, slice.payload)
                    == input.mid(position, slice.end - position),
                "a payload packed again gives the same frame");
        position = slice.end;
    }
}

void checkDispatch(const QVariantList &objects, const Service &service)
{
    QVector<int> chosen = service.chosen();
    int asked = service.asked();
    for (const QVariant &variant : objects) {
        require(variant.type() == QVariant::fromValue(QJsonObject()).type(),
                "parsing gives objects only");
        const QJsonObject object = variant.toJsonObject();
        const qlonglong type = object.value(QLatin1String("type")).toString().toLongLong();
        asked -= type == 5 ? 1 : 0;
        if (type != 4)
            continue;
        require(!chosen.isEmpty(), "each choice emits a signal");
        bool isInt = false;
        const int index = object.value(QLatin1String("serverIndex")).toString().toInt(&isInt);
        const int signalled = chosen.takeFirst();
        require(!isInt || signalled == index, "choices are emitted in order, each with its index");
    }
    require(chosen.isEmpty(), "nothing else emits a choice");
    require(asked == 0, "each question emits a signal, and nothing else does");
}

} // namespace

void Fuzz::run(const QByteArray &input)
{
    static Service service;

    const QVariantList objects = service.parse(input);
    require(objects.size() <= checkFrames(input), "a frame holds at most one object");

    const int cut = input.isEmpty() ? 0 : static_cast<uchar>(input.back()) % input.size();
    const QVariantList first = service.parse(input.left(cut));
    require(first == objects.mid(0, first.size()),
            "a beginning of the bytes gives the first of the objects");

    service.receive(input);
    checkDispatch(objects, service);
}
