#pragma once

#include <QQueue>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>

#include <functional>

namespace velmora::testing {

/// The service on loopback: answers each connection with the next scripted bytes, then closes it, and records
/// what it was sent.
class ScriptedServer
{
public:
    struct Request
    {
        QByteArray path;
        /// From the method to the last header.
        QByteArray head;
        QByteArray body;
    };

    ScriptedServer()
    {
        server.listen(QHostAddress::LocalHost);
        QObject::connect(&server, &QTcpServer::newConnection, &server, [this] {
            while (QTcpSocket *socket = server.nextPendingConnection()) {
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { read(socket); });
                QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
        qputenv("VELMORA_TEST_API", "http://127.0.0.1:" + QByteArray::number(server.serverPort()) + "/api/");
    }

    /// The next connection, once its request is read, is the script's own to write to and to close. Without
    /// any script a connection closes unanswered.
    void answerBy(const std::function<void(QTcpSocket *)> &script) { scripts.enqueue(script); }
    /// The next connection gets these bytes as they stand.
    void answerRaw(const QByteArray &bytes)
    {
        answerBy([bytes](QTcpSocket *socket) { finish(socket, bytes); });
    }
    void answer(const QByteArray &body, int status = 200) { answerRaw(reply(body, status)); }
    /// The next connection is read and left unanswered until `release()`.
    void hold()
    {
        answerBy([this](QTcpSocket *socket) { heldSockets.enqueue(socket); });
    }
    /// Answers the connection that has been held longest.
    void release(const QByteArray &body) { finish(heldSockets.dequeue(), reply(body, 200)); }

    QList<Request> requests;

private:
    static QByteArray reply(const QByteArray &body, int status)
    {
        return "HTTP/1.1 " + QByteArray::number(status) +
               " Scripted\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
    }
    static void finish(QTcpSocket *socket, const QByteArray &bytes)
    {
        socket->write(bytes);
        socket->disconnectFromHost();
    }
    void read(QTcpSocket *socket)
    {
        static const QRegularExpression length(QStringLiteral("Content-Length: (\\d+)"));
        const QByteArray received = socket->peek(1 << 20);
        const qsizetype end = received.indexOf("\r\n\r\n");
        const auto bodyBytes = length.match(QString::fromLatin1(received)).captured(1).toLongLong();
        if (end < 0 || received.size() < end + 4 + bodyBytes)
            return;
        socket->readAll();
        requests.append({received.split(' ').value(1), received.left(end + 2), received.mid(end + 4)});
        if (scripts.isEmpty())
            socket->disconnectFromHost();
        else
            scripts.dequeue()(socket);
    }

    QTcpServer server;
    QQueue<std::function<void(QTcpSocket *)>> scripts;
    QQueue<QTcpSocket *> heldSockets;
};

} // namespace velmora::testing
