#pragma once

#include <QMap>
#include <QObject>
#include <QQueue>
#include <QTcpServer>

#include <functional>

class QTcpSocket;

namespace velmora::testing {

/// An HTTP server on loopback that answers each connection with the next scripted bytes, then closes it, and
/// records what it was sent.
class ScriptedServer : public QObject
{
    Q_OBJECT

public:
    struct Request
    {
        QByteArray method;
        QByteArray path;
        /// Names in lower case.
        QMap<QByteArray, QByteArray> headers;
        QByteArray body;
    };

    ScriptedServer();

    /// Text for `setApiBaseUrl()`.
    QString baseUrl() const { return QStringLiteral("http://127.0.0.1:%1/api/").arg(server.serverPort()); }
    /// The next connection gets these bytes as they stand; without any the connection closes unanswered.
    void answerRaw(const QByteArray &bytes);
    /// The next connection, once its request is read, is the script's own to write to and to close.
    void answerBy(const std::function<void(QTcpSocket *)> &script) { scripts.enqueue(script); }
    void answer(const QByteArray &body, int status = 200, const QByteArray &headers = {})
    {
        answerRaw(reply(body, status, headers));
    }
    /// The next connection is read and left unanswered until `release()`.
    void hold();
    /// Answers the connection that has been held longest.
    void release(const QByteArray &body);

    QList<Request> requests;
    int connections = 0;

Q_SIGNALS:
    void requested();

private:
    void accept();
    void readFrom(QTcpSocket *socket);

    static QByteArray reply(const QByteArray &body, int status, const QByteArray &headers);

    QTcpServer server;
    QQueue<std::function<void(QTcpSocket *)>> scripts;
    QQueue<QTcpSocket *> heldSockets;
};

} // namespace velmora::testing
