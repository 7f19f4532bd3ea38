#include "tests/support/ScriptedServer.h"

#include "tests/support/TestConfiguration.h"

#include <QTcpSocket>

namespace velmora::testing {

ScriptedServer::ScriptedServer()
{
    server.listen(QHostAddress::LocalHost);
    connect(&server, &QTcpServer::newConnection, this, &ScriptedServer::accept);
    setApiBaseUrl(baseUrl());
}

QByteArray ScriptedServer::reply(const QByteArray &body, int status, const QByteArray &headers)
{
    return "HTTP/1.1 " + QByteArray::number(status) +
           " Scripted\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n" + headers + "\r\n" +
           body;
}

void ScriptedServer::answerRaw(const QByteArray &bytes)
{
    answerBy([bytes](QTcpSocket *socket) {
        socket->write(bytes);
        socket->disconnectFromHost();
    });
}

void ScriptedServer::hold()
{
    answerBy([this](QTcpSocket *socket) { heldSockets.enqueue(socket); });
}

void ScriptedServer::release(const QByteArray &body)
{
    QTcpSocket *socket = heldSockets.dequeue();
    socket->write(reply(body, 200, {}));
    socket->disconnectFromHost();
}

void ScriptedServer::accept()
{
    while (QTcpSocket *socket = server.nextPendingConnection()) {
        ++connections;
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { readFrom(socket); });
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    }
}

void ScriptedServer::readFrom(QTcpSocket *socket)
{
    const QByteArray received = socket->peek(1 << 20);
    const qsizetype end = received.indexOf("\r\n\r\n");
    if (end < 0)
        return;
    const QList<QByteArray> lines = received.left(end).replace("\r\n", "\n").split('\n');
    Request request;
    const QList<QByteArray> words = lines.first().split(' ');
    request.method = words.value(0);
    request.path = words.value(1);
    for (const QByteArray &line : lines.sliced(1)) {
        const qsizetype colon = line.indexOf(':');
        request.headers.insert(line.left(colon).toLower(), line.mid(colon + 1).trimmed());
    }
    request.body = received.mid(end + 4);
    if (request.body.size() < request.headers.value("content-length").toLongLong())
        return;
    socket->readAll();
    requests.append(request);
    if (scripts.isEmpty())
        socket->disconnectFromHost();
    else
        scripts.dequeue()(socket);
    Q_EMIT requested();
}

} // namespace velmora::testing
