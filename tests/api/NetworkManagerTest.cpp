#include "api/NetworkManager.h"
#include "tests/support/Bodies.h"
#include "tests/support/FakeSecretStore.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/TestConfiguration.h"

#include <QSignalSpy>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// Each call of the completion of a request for the endpoints; none where that is dropped.
QString outcomeOf(ScriptedServer &server, const QByteArray &reply)
{
    server.answerRaw(reply);
    QStringList calls;
    auto held = std::make_shared<int>();
    NetworkManager::forOneRequest().getServices([&calls, held](const std::optional<ServiceResponse> &record) {
        calls << (record ? u"record"_s : u"nothing"_s);
    });
    const std::weak_ptr<int> completion = std::exchange(held, nullptr);
    QTimer bound;
    bound.setSingleShot(true);
    bound.start(5s);
    while (!completion.expired() && bound.isActive())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    if (!completion.expired())
        calls << u"no end"_s;
    return calls.join(u' ');
}

QByteArray withLength(const QByteArray &statusAndHeaders, const QByteArray &body)
{
    return "HTTP/1.1 " + statusAndHeaders + "\r\nContent-Length: " + QByteArray::number(body.size()) +
           "\r\n\r\n" + body;
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
    void init()
    {
        store = &FakeSecretStore::install();
        store->items.insert(u"token"_s, u"t0ken"_s);
    }

    void requestsOnTheWire()
    {
        const QByteArray open = "content-type: application/json\n";
        const QByteArray authorised = open + "x-auth-token: t0ken\n";
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
    }

    void tokensThatCannotBeSentAreEmpty()
    {
        const QByteArray wanted = "GET /api/endpoint\ncontent-type: application/json\nx-auth-token: \n";
        ScriptedServer server;
        for (const QString &token : {u"t\r\nX-Evil: 1"_s, u"t\0u"_s}) {
            store->items.insert(u"token"_s, token);
            NetworkManager::forOneRequest().getServices({});
            QCOMPARE(nextRequest(server), wanted);
        }
        store->failing = true;
        NetworkManager::forOneRequest().getServices({});
        QCOMPARE(nextRequest(server), wanted);
    }

    void everyReplyIsTakenAlike_data()
    {
        QTest::addColumn<QByteArray>("head");
        QTest::newRow("200") << QByteArray("200 OK");
        QTest::newRow("500") << QByteArray("500 X\r\nContent-Type: text/html");
        QTest::newRow("302") << QByteArray("302 X\r\nLocation: /api/other");
        QTest::newRow("401") << QByteArray("401 X\r\nWWW-Authenticate: Basic realm=\"r\"");
        QTest::newRow("407") << QByteArray("407 X\r\nProxy-Authenticate: Basic realm=\"r\"");
    }

    void everyReplyIsTakenAlike()
    {
        QFETCH(QByteArray, head);
        const QByteArray good = json("{'endpoints':[]}");
        ScriptedServer server;
        OutputCapture output;
        const auto printed = [&output] {
            return output.lines().filter(u"print "_s).size();
        };
        QCOMPARE(outcomeOf(server, withLength(head, good)), u"record"_s);
        QCOMPARE(outcomeOf(server, withLength(head + "\r\nContent-Encoding: gzip", gzipped(good))),
                 u"record"_s);
        QCOMPARE(outcomeOf(server, "HTTP/1.1 " + head + "\r\nContent-Length: 99\r\n\r\n" + good),
                 u"record"_s);
        QCOMPARE(outcomeOf(server, "HTTP/1.1 " + head + "\r\n\r\n" + good), u"record"_s);
        QCOMPARE(printed(), 0);
        QCOMPARE(outcomeOf(server, "HTTP/1.1 " + head + "\r\nContent-Length: 99\r\n\r\n{"), u"nothing"_s);
        QCOMPARE(outcomeOf(server, withLength(head, {})), u"nothing"_s);
        QCOMPARE(outcomeOf(server, "HTTP/1.1 " + head + "\r\n\r\n"), u"nothing"_s);
        QCOMPARE(printed(), 3);
        QCOMPARE(server.connections, 7);
    }

    void aRequestIsNeverRepeated()
    {
        ScriptedServer server;
        // A connection that stays open and closes on the next request.
        server.answerBy([](QTcpSocket *socket) { socket->write(withLength("200 OK", "{}")); });
        QCOMPARE(outcomeOf(server, {}), u"record"_s);
        QCOMPARE(outcomeOf(server, {}), QString());
        QCOMPARE(outcomeOf(server, "SSH-2.0-x\r\n"), QString());
        QCOMPARE(server.requests.size(), 3);
    }

    void cutAtEachByte_data()
    {
        QTest::addColumn<QByteArray>("head");
        QTest::newRow("with length") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 71\r\nX: y\r\n\r\n");
        QTest::newRow("until the end") << QByteArray("HTTP/1.1 401 Go away\r\nX-Longer: y z\r\n\r\n");
        QTest::newRow("empty") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    }

    void cutAtEachByte()
    {
        QFETCH(QByteArray, head);
        const QByteArray body =
            json("{'endpoints':[{'id':3,'name':'Z\xc3\xbcrich','country':'CH','ping':[1.5e1]}]}");
        const bool hasLength = head.contains("Length: 71");
        QCOMPARE(body.size(), 71);
        ScriptedServer server;
        const OutputCapture output;
        for (qsizetype bytes = 0; bytes < head.size(); ++bytes)
            QCOMPARE(outcomeOf(server, head.left(bytes)), QString());
        QCOMPARE(outcomeOf(server, head), hasLength ? QString() : u"nothing"_s);
        if (head.contains("Length: 0"))
            return;
        for (qsizetype bytes = 1; bytes < body.size(); ++bytes)
            QCOMPARE(outcomeOf(server, head + body.left(bytes)), u"nothing"_s);
        QCOMPARE(outcomeOf(server, head + body), u"record"_s);
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

private:
    FakeSecretStore *store = nullptr;
};

QTEST_GUILESS_MAIN(NetworkManagerTest)
#include "NetworkManagerTest.moc"
