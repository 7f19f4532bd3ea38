#include "api/NetworkManager.h"
#include "tests/support/Bodies.h"
#include "tests/support/FakeSecretStore.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/TestConfiguration.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTest>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(std::function<void(const NetworkManager &)>)

namespace {

using Send = std::function<void(const NetworkManager &)>;

/// Counts what becomes of a completion: called with a record, called with nothing, dropped.
struct Outcome
{
    int records = 0;
    int nothings = 0;
    std::shared_ptr<int> alive = std::make_shared<int>();

    template<class Record>
    NetworkManager::Completion<Record> completion()
    {
        return [this, held = alive](const std::optional<Record> &record) {
            ++(record ? records : nothings);
        };
    }
    bool isOver() const { return alive.use_count() == 1; }
};

} // namespace

class NetworkManagerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { FakeSecretStore::install().items.insert(u"token"_s, u"t0ken"_s); }

    void requestsOnTheWire_data()
    {
        QTest::addColumn<Send>("send");
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("authorised");
        const auto row = [](const char *name, const Send &send, const QByteArray &line,
                            const QByteArray &body, bool authorised) {
            QTest::newRow(name) << send << line << body << authorised;
        };
        row(
            "sign-in", [](const NetworkManager &api) { api.login(u" ü\"x"_s, u"p&=?"_s, {}); },
            "POST /api/token", "{\"username\":\" ü\\\"x\",\"password\":\"p&=?\"}", false);
        row(
            "reset", [](const NetworkManager &api) { api.resetPassword(u"u"_s, {}); },
            "POST /api/account/reset", json("{'username':'u'}"), false);
        row(
            "endpoint list", [](const NetworkManager &api) { api.getServices({}); }, "GET /api/endpoint", "",
            true);
        row(
            "favourites", [](const NetworkManager &api) { api.getFavorites({}); }, "GET /api/favorite", "",
            true);
        row(
            "add favourite", [](const NetworkManager &api) { api.addFavorite(42, {}); }, "POST /api/favorite",
            json("{'endpoint':42}"), true);
        row(
            "remove favourite", [](const NetworkManager &api) { api.removeFavorite(42, {}); },
            "DELETE /api/favorite/42", json("{'endpoint':42}"), true);
        row(
            "remove negative id", [](const NetworkManager &api) { api.removeFavorite(-7, {}); },
            "DELETE /api/favorite/-7", json("{'endpoint':-7}"), true);
        row(
            "connect",
            [](const NetworkManager &api) { api.connectEndpoint(Q_INT64_C(9223372036854775807), {}); },
            "POST /api/endpoint", json("{'endpoint':9223372036854775807,'configurationType':'ipsec'}"), true);
    }

    void requestsOnTheWire()
    {
        QFETCH(Send, send);
        ScriptedServer server;
        send(NetworkManager::forOneRequest());
        QVERIFY(QSignalSpy(&server, &ScriptedServer::requested).wait());
        const ScriptedServer::Request &request = server.requests.first();
        QTEST(QByteArray(request.method + ' ' + request.path), "line");
        QTEST(request.body, "body");
        QCOMPARE(request.headers.value("content-type"), QByteArray("application/json"));
        QTEST(request.headers.contains("x-auth-token"), "authorised");
        if (request.headers.contains("x-auth-token"))
            QCOMPARE(request.headers.value("x-auth-token"), QByteArray("t0ken"));
    }

    void tokensThatCannotBeSent_data()
    {
        QTest::addColumn<std::optional<QString>>("token");
        QTest::addColumn<bool>("failing");
        QTest::newRow("missing") << std::optional<QString>() << false;
        QTest::newRow("store fails") << std::optional(u"t"_s) << true;
        QTest::newRow("line break") << std::optional(u"t\r\nX-Evil: 1"_s) << false;
        QTest::newRow("NUL") << std::optional(QString(u"t\0u"_s)) << false;
    }

    void tokensThatCannotBeSent()
    {
        QFETCH(std::optional<QString>, token);
        QFETCH(bool, failing);
        FakeSecretStore &store = FakeSecretStore::install();
        if (token)
            store.items.insert(u"token"_s, *token);
        store.failing = failing;
        ScriptedServer server;
        NetworkManager::forOneRequest().getServices({});
        QVERIFY(QSignalSpy(&server, &ScriptedServer::requested).wait());
        const auto &headers = server.requests.first().headers;
        QVERIFY(headers.contains("x-auth-token"));
        QCOMPARE(headers.value("x-auth-token"), QByteArray());
        QVERIFY(!headers.contains("x-evil"));
    }

    void replies_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<int>("records");
        QTest::addColumn<int>("nothings");
        const auto row = [](const char *name, const QByteArray &reply, int records, int nothings) {
            QTest::newRow(name) << reply << records << nothings;
        };
        const QByteArray good = json("{'endpoints':[]}");
        const QByteArray packed = gzipped(good);
        row("status 500 with a record", "HTTP/1.1 500 X\r\nContent-Length: 16\r\n\r\n" + good, 1, 0);
        row("status 401 with a record",
            "HTTP/1.1 401 X\r\nWWW-Authenticate: Basic realm=\"x\"\r\nContent-Length: 16\r\n\r\n" + good, 1,
            0);
        row("wrong content type",
            "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: 16\r\n\r\n" + good, 1, 0);
        row("redirect with a record",
            "HTTP/1.1 302 X\r\nLocation: /api/other\r\nContent-Length: 16\r\n\r\n" + good, 1, 0);
        row("packed",
            "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: " +
                QByteArray::number(packed.size()) + "\r\n\r\n" + packed,
            1, 0);
        row("chunked", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n10\r\n" + good + "\r\n0\r\n\r\n",
            1, 0);
        row("complete and empty", "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n", 0, 1);
        row("complete without content", "HTTP/1.1 204 No Content\r\n\r\n", 0, 1);
        row("error page", "HTTP/1.1 502 X\r\nContent-Length: 6\r\n\r\n<html>", 0, 1);
        row("cut inside the body", "HTTP/1.1 200 OK\r\nContent-Length: 99\r\n\r\n{\"endpo", 0, 1);
        row("cut behind a whole record", "HTTP/1.1 200 OK\r\nContent-Length: 99\r\n\r\n" + good, 1, 0);
        row("cut before the body", "HTTP/1.1 200 OK\r\nContent-Length: 99\r\n\r\n", 0, 0);
        row("cut inside the headers", "HTTP/1.1 200 OK\r\nConte", 0, 0);
        row("closed without a word", "", 0, 0);
        row("no HTTP", "SSH-2.0-x\r\n", 0, 0);
    }

    void replies()
    {
        QFETCH(QByteArray, reply);
        QFETCH(int, records);
        QFETCH(int, nothings);
        ScriptedServer server;
        server.answerRaw(reply);
        Outcome outcome;
        NetworkManager::forOneRequest().getServices(outcome.completion<ServiceResponse>());
        OutputCapture output;
        QTRY_VERIFY(outcome.isOver());
        QCOMPARE(outcome.records, records);
        QCOMPARE(outcome.nothings, nothings);
        // One diagnostic line for what does not decode, no word about anything else; and sent once.
        QCOMPARE(output.lines().size(), nothings);
        QCOMPARE(server.connections, 1);
    }

    void cutAtEachByte()
    {
        const QByteArray body =
            json("{'endpoints':[{'id':3,'name':'Z\xc3\xbcrich','country':'CH','ping':[1.5e1]}]}");
        const QByteArray head =
            "HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n";
        const QByteArray reply = head + body;
        ScriptedServer server;
        OutputCapture output;
        for (qsizetype bytes = 0; bytes <= reply.size(); ++bytes) {
            server.answerRaw(reply.left(bytes));
            Outcome outcome;
            NetworkManager::forOneRequest().getServices(outcome.completion<ServiceResponse>());
            QTRY_VERIFY(outcome.isOver());
            QCOMPARE(outcome.records, bytes == reply.size() ? 1 : 0);
            // Headers that end with a line's end pass for a reply without a body; no other cut ones do.
            if (bytes > head.size() || !reply.left(bytes).endsWith('\n'))
                QCOMPARE(outcome.nothings, bytes > head.size() && bytes < reply.size() ? 1 : 0);
        }
    }

    void noConnectionNoCompletion()
    {
        QTcpServer closed;
        closed.listen(QHostAddress::LocalHost);
        setApiBaseUrl(u"http://127.0.0.1:%1/api/"_s.arg(closed.serverPort()));
        closed.close();
        Outcome outcome;
        NetworkManager::forOneRequest().connectEndpoint(1, outcome.completion<EndpointConnectResponse>());
        NetworkManager::forOneRequest().removeFavorite(1, outcome.completion<Response>());
        QTRY_VERIFY(outcome.isOver());
        QCOMPARE(outcome.records + outcome.nothings, 0);
    }

    void connectReplyIsDumpedBeforeItIsDecoded()
    {
        ScriptedServer server;
        server.answer("<\xff>");
        Outcome outcome;
        NetworkManager::forOneRequest().connectEndpoint(1, outcome.completion<EndpointConnectResponse>());
        OutputCapture output;
        QTRY_VERIFY(outcome.isOver());
        const QStringList lines = output.lines();
        QCOMPARE(lines.size(), 2);
        QCOMPARE(lines.first(), u"print response.data: <\uFFFD>"_s);
    }

    void completionsRunInTheOrderOfTheReplies()
    {
        ScriptedServer server;
        server.hold();
        server.hold();
        QStringList order;
        NetworkManager::forOneRequest().addFavorite(1, [&order](const auto &) { order.append(u"first"_s); });
        QTRY_COMPARE(server.requests.size(), 1);
        NetworkManager::forOneRequest().addFavorite(2, [&order](const auto &reply) {
            QVERIFY(reply->success.value_or(false));
            order.append(u"second"_s);
        });
        QTRY_COMPARE(server.requests.size(), 2);
        server.answer(json("{'success':true}"));
        NetworkManager::forOneRequest().addFavorite(3, [&order](const auto &) { order.append(u"third"_s); });
        QTRY_COMPARE(order, QStringList{u"third"_s});
        server.release("{}");
        QTRY_COMPARE(order.size(), 2);
        server.release(json("{'success':true}"));
        QTRY_COMPARE(order, (QStringList{u"third"_s, u"first"_s, u"second"_s}));
    }
};

QTEST_GUILESS_MAIN(NetworkManagerTest)
#include "NetworkManagerTest.moc"
