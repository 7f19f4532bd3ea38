#include "api/NetworkManager.h"
#include "tests/support/Bodies.h"
#include "tests/support/FakeSecretStore.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/ScriptedServer.h"

#include <QDeadlineTimer>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QTest>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

/// Each call of the completion of a request for the endpoints; empty where that is dropped.
QString outcomeOf(ScriptedServer &server, const QByteArray &reply)
{
    server.answerRaw(reply);
    QString calls;
    auto held = std::make_shared<int>();
    NetworkManager::forOneRequest().getServices([&calls, held](const std::optional<ServiceResponse> &record) {
        calls += record ? u"record"_s : u"nothing"_s;
    });
    const std::weak_ptr<int> completion = std::exchange(held, nullptr);
    const QDeadlineTimer deadline(5000);
    while (!completion.expired() && !deadline.hasExpired())
        QCoreApplication::processEvents();
    return completion.expired() ? calls : u"no end"_s;
}

QByteArray withLength(const QByteArray &head, const QByteArray &body)
{
    return head + "Content-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

/// The next request as it went out; the lines of both headers stand in front of its body.
QByteArray nextRequest(ScriptedServer &server)
{
    if (!QSignalSpy(&server, &ScriptedServer::requested).wait())
        return {};
    const ScriptedServer::Request request = server.requests.takeFirst();
    QByteArray text = request.method + ' ' + request.path + '\n';
    for (const char *const name : {"content-type", "x-auth-token", "x-evil"}) {
        if (request.headers.contains(name))
            text += QByteArray(name) + ": " + request.headers.value(name) + '\n';
    }
    return text + request.body;
}

} // namespace

class NetworkManagerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void requestsOnTheWire()
    {
        const QByteArray open = "content-type: application/json\n";
        const QByteArray authorised = open + "x-auth-token: t0ken\n";
        FakeSecretStore &store = FakeSecretStore::install();
        store.items.insert(u"token"_s, u"t0ken"_s);
        ScriptedServer server;
        const NetworkManager api = NetworkManager::forOneRequest();
        api.login(u" ü\"x"_s, u"p&=?"_s, {});
        QCOMPARE(nextRequest(server),
                 "POST /api/token\n" + open + "{\"username\":\" ü\\\"x\",\"password\":\"p&=?\"}");
        api.resetPassword(u"u"_s, {});
        QCOMPARE(nextRequest(server), "POST /api/account/reset\n" + open + json("{'username':'u'}"));
        api.getServices({});
        QCOMPARE(nextRequest(server), "GET /api/endpoint\n" + authorised);
        api.getFavorites({});
        QCOMPARE(nextRequest(server), "GET /api/favorite\n" + authorised);
        api.addFavorite(42, {});
        QCOMPARE(nextRequest(server), "POST /api/favorite\n" + authorised + json("{'endpoint':42}"));
        api.removeFavorite(-7, {});
        QCOMPARE(nextRequest(server), "DELETE /api/favorite/-7\n" + authorised + json("{'endpoint':-7}"));
        api.connectEndpoint(Q_INT64_C(9223372036854775807), {});
        QCOMPARE(nextRequest(server),
                 "POST /api/endpoint\n" + authorised +
                     json("{'endpoint':9223372036854775807,'configurationType':'ipsec'}"));
        // What cannot be a header's value, or be read, is empty.
        for (const QString &token : {u"t\r\nX-Evil: 1"_s, u"t\0u"_s, u"unreadable"_s}) {
            store.items.insert(u"token"_s, token);
            store.failing = token == u"unreadable"_s;
            api.getServices({});
            QCOMPARE(nextRequest(server), "GET /api/endpoint\n" + open + "x-auth-token: \n");
        }
    }

    void everyReplyIsTakenAlike()
    {
        const QByteArray good = json("{'endpoints':[]}");
        for (const char *const start :
             {"200 OK", "500 X\r\nContent-Type: text/html", "302 X\r\nLocation: /api/other",
              "401 X\r\nWWW-Authenticate: Basic realm=\"r\"",
              "407 X\r\nProxy-Authenticate: Basic realm=\"r\""}) {
            const QByteArray head = QByteArray("HTTP/1.1 ") + start + "\r\n";
            ScriptedServer server;
            OutputCapture output;
            for (const QByteArray &reply :
                 {withLength(head, good), withLength(head + "Content-Encoding: gzip\r\n", gzipped(good)),
                  head + "Content-Length: 99\r\n\r\n" + good, head + "\r\n" + good})
                QCOMPARE(outcomeOf(server, reply), u"record"_s);
            QCOMPARE(output.lines().filter(u"print "_s).size(), 0);
            for (const QByteArray &reply :
                 {head + "Content-Length: 99\r\n\r\n{", withLength(head, {}), head + "\r\n"})
                QCOMPARE(outcomeOf(server, reply), u"nothing"_s);
            QCOMPARE(output.lines().filter(u"print "_s).size(), 3);
            QCOMPARE(server.connections, 7);
        }
    }

    void aRequestIsNeverRepeated()
    {
        ScriptedServer server;
        // A connection that stays open and closes on the next request.
        server.answerBy([](QTcpSocket *socket) { socket->write(withLength("HTTP/1.1 200 OK\r\n", "{}")); });
        QCOMPARE(outcomeOf(server, {}), u"record"_s);
        QCOMPARE(outcomeOf(server, {}), QString());
        QCOMPARE(outcomeOf(server, "SSH-2.0-x\r\n"), QString());
        QCOMPARE(server.requests.size(), 3);
    }

    void cutAtEachByte()
    {
        const QByteArray body = json("{'endpoints':[{'id':3,'name':'Z\xc3\xbc','country':'CH'}]}");
        const QByteArray untilTheEnd = "HTTP/1.1 401 Go away\r\nX-Longer: y z\r\n\r\n";
        ScriptedServer server;
        const OutputCapture output;
        for (const QByteArray &reply : {withLength("HTTP/1.1 200 OK\r\nX: y\r\n", body),
                                        withLength("HTTP/1.1 200 OK\r\n", {}), untilTheEnd + body}) {
            const qsizetype head = reply.indexOf("\r\n\r\n") + 4;
            for (qsizetype bytes = 0; bytes < reply.size(); ++bytes) {
                const bool isNothing = bytes > head || (bytes == head && reply.startsWith(untilTheEnd));
                QCOMPARE(outcomeOf(server, reply.left(bytes)), isNothing ? u"nothing"_s : QString());
            }
            QCOMPARE(outcomeOf(server, reply), reply.size() > head ? u"record"_s : u"nothing"_s);
        }
    }

    void theConnectReplyIsDumpedBeforeItIsDecoded()
    {
        ScriptedServer server;
        server.answer("<\xff>");
        OutputCapture output;
        bool called = false;
        NetworkManager::forOneRequest().connectEndpoint(1, [&called](const auto &) { called = true; });
        QTRY_VERIFY(called);
        QCOMPARE(output.lines().size(), 3);
        QCOMPARE(output.lines().at(1), u"print response.data: <\uFFFD>"_s);
    }
};

QTEST_GUILESS_MAIN(NetworkManagerTest)
#include "NetworkManagerTest.moc"
