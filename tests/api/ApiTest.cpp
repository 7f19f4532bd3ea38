#include "api/NetworkManager.h"
#include "api/Records.h"
#include "api/ServiceManager.h"
#include "tests/support/Bodies.h"
#include "tests/support/FakeSecretStore.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/ScriptedServer.h"

#include <QElapsedTimer>
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

/// The record, encoded; where there is none, the path that the diagnosis names.
template<class Record>
QByteArray decoded(const QByteArray &reply)
{
    const Result<Record> record = decode<Record>(reply);
    if (record)
        return encode(*record);
    const QString message = record.error().message;
    return message.startsWith(u"[json") ? "no JSON" : message.section(u':', 0, 0).toUtf8();
}

QStringList sorted(const QStringList &names)
{
    QList<Service> services;
    for (const QString &name : names)
        services.append(Service{1, name, u"DE"_s, {}, {}});
    sortByName(services);
    QStringList order;
    for (const Service &service : std::as_const(services))
        order.append(service.name);
    return order;
}

} // namespace

/// Runs a second time in a locale whose decimal point is a comma.
class ApiTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void requestsOnTheWire()
    {
        FakeSecretStore &store = FakeSecretStore::install();
        ScriptedServer server;
        const NetworkManager api = NetworkManager::forOneRequest();
        const auto compare = [&server](const QByteArray &start, const char *token, const char *body) {
            QTRY_COMPARE(server.requests.size(), 1);
            const ScriptedServer::Request request = server.requests.takeFirst();
            QVERIFY2(request.head.startsWith(start + " HTTP/1.1\r\n"), request.head);
            QVERIFY2(request.head.contains("\r\nContent-Type: application/json\r\n"), request.head);
            QCOMPARE(request.head.contains("X-Auth-Token:"), token != nullptr);
            QVERIFY(token == nullptr || request.head.contains("X-Auth-Token: "_ba + token + "\r\n"));
            QVERIFY2(!request.head.contains("X-Evil"), request.head);
            QCOMPARE(request.body, json(body));
        };
        api.login(u" ü\"x"_s, u"p&=?"_s, {});
        compare("POST /api/token", nullptr, "{'username':' ü\\'x','password':'p&=?'}");
        api.resetPassword(u"u"_s, {});
        compare("POST /api/account/reset", nullptr, "{'username':'u'}");
        // A token that cannot be a header's value, or be read, is empty.
        for (const QString &token : {u"t\r\nX-Evil: 1"_s, u"t\0u"_s, u"unreadable"_s, u"t0ken"_s}) {
            store.items.insert(u"token"_s, token);
            store.failing = token == u"unreadable"_s;
            api.getServices({});
            compare("GET /api/endpoint", token == u"t0ken"_s ? "t0ken" : "", "");
        }
        api.getFavorites({});
        compare("GET /api/favorite", "t0ken", "");
        api.addFavorite(42, {});
        compare("POST /api/favorite", "t0ken", "{'endpoint':42}");
        api.removeFavorite(-7, {});
        compare("DELETE /api/favorite/-7", "t0ken", "{'endpoint':-7}");
        api.connectEndpoint(Q_INT64_C(9223372036854775807), {});
        compare("POST /api/endpoint", "t0ken",
                "{'endpoint':9223372036854775807,'configurationType':'ipsec'}");
    }

    void everyReplyIsTakenAlike()
    {
        const QByteArray good = json("{'endpoints':[]}");
        for (const char *const start :
             {"200 OK", "500 X\r\nContent-Type: text/html", "302 X\r\nLocation: /api/other",
              "401 X\r\nWWW-Authenticate: Basic", "407 X\r\nProxy-Authenticate: Basic"}) {
            const QByteArray head = QByteArray("HTTP/1.1 ") + start + "\r\n";
            ScriptedServer server;
            OutputCapture output;
            for (const QByteArray &reply : {withLength(head + "Content-Encoding: gzip\r\n", gzipped(good)),
                                            head + "Content-Length: 99\r\n\r\n" + good, head + "\r\n" + good})
                QCOMPARE(outcomeOf(server, reply), u"record"_s);
            for (const QByteArray &reply : {head + "Content-Length: 99\r\n\r\n{", head + "\r\n"})
                QCOMPARE(outcomeOf(server, reply), u"nothing"_s);
            QCOMPARE(output.lines().filter(u"print "_s).size(), 2);
            QCOMPARE(server.requests.size(), 5);
        }
    }

    void aRequestIsNeverRepeated()
    {
        ScriptedServer server;
        // A connection that stays open and closes on the next request.
        server.answerBy([](QTcpSocket *socket) { socket->write(withLength("HTTP/1.1 200 OK\r\n", "{}")); });
        QCOMPARE(outcomeOf(server, {}), u"record"_s);
        QCOMPARE(outcomeOf(server, {}), QString());
        QCOMPARE(server.requests.size(), 2);
    }

    void cutAtEachByte()
    {
        const QByteArray body = json("{'endpoints':[{'id':3,'name':'Z\xc3\xbc','country':'CH'}]}");
        const QByteArray untilTheEnd = "HTTP/1.1 401 Go away\r\nX-Longer: y z\r\n\r\n";
        ScriptedServer server;
        const OutputCapture output;
        for (const QByteArray &reply :
             {withLength("HTTP/1.1 200 OK\r\nX: y\r\n", body), untilTheEnd + body}) {
            const qsizetype head = reply.indexOf("\r\n\r\n") + 4;
            for (qsizetype bytes = 0; bytes < reply.size(); ++bytes) {
                const bool isNothing = bytes > head || (bytes == head && reply.startsWith(untilTheEnd));
                QCOMPARE(outcomeOf(server, reply.left(bytes)), isNothing ? u"nothing"_s : QString());
            }
            QCOMPARE(outcomeOf(server, reply), u"record"_s);
        }
    }

    void repliesAndTheirRecords()
    {
        const auto services = decoded<ServiceResponse>;
        const auto favorites = decoded<FavServiceResponse>;
        const auto token = decoded<Token>;
        const std::tuple<decltype(token), const char *, const char *> rows[] = {
            {services,
             "{'endpoints':[{'x':{'y':[1]},'ping':[12.5,30],'address':null,'country':'CH','name':'ü','id':3}]"
             "}",
             "{'endpoints':[{'id':3,'name':'ü','country':'CH','ping':[12.5,30.0]}]}"},
            {services, "{'endpoints':[{'name':'','country':''},{'name':'n'}]}", "endpoints[1].country"},
            {services, "{'endpoints':[{'country':'','name':'','ping':[1,'2']}]}", "endpoints[0].ping[1]"},
            {favorites,
             "{'favorites':[3],'favorites':[9223372036854775807,9007199254740993.0,1e2,-1250.0E-1,"
             "-922337203685477580.80e1,0e99999999999999999999,-0.0]}",
             "{'favorites':[9223372036854775807,9007199254740993,100,-125,-9223372036854775808,0,0]}"},
            {decoded<EndpointConnectResponse>,
             "{'success':true,'address':'','configuration':'','password':''}", "configurationType"},
            {token, "\ufeff{'token':'\ufeff\ufeff\\u0000x'} \n", "{'token':'\ufeff\ufeff\\u0000x'}"},
            {token, "{'token':'a','token':null}", "{}"},
            {token, "{'token':null,'error':{'message':[]}}", "error.message"},
            {token, "[]", "the reply"},
            {token, "{'token':'a'}{}", "no JSON"},
            {token, "{'token':'\xff'}", "no JSON"},
            {token, "{'token':'\\ud800'}", "no JSON"},
            {decoded<Response>, "{'success':'true'}", "success"},
        };
        for (const auto &[decoder, reply, outcome] : rows)
            QCOMPARE(decoder(json(reply)), json(outcome));
        for (const char *const number : {"3.5", "3.00000000000000000001", "9223372036854775808",
                                         "9223372036854775807.5", "1e19", "1e-99999999999999999999"})
            QCOMPARE(favorites("{\"favorites\":[" + QByteArray(number) + "]}"), "favorites[0]");
        QCOMPARE(token("{}" + QByteArray(1, '\0')), "a NUL byte in the reply");
        QCOMPARE(token("{\"other\":1" + QByteArray(8000000, '0') + ".0e-8000000}"), "{}");
        // A text that is no Unicode is written as one that can be read again.
        QCOMPARE(encode(Token{QString(QChar(0xd800)), {}}), json("{'token':'?'}"));
    }

    void sortsByScalarValuesAfterComposition()
    {
        // U+FF5E stands above the surrogates of U+1F30D in UTF-16, but below it as a scalar value.
        const QStringList wanted{u"Alpha"_s, u"beta"_s,   u"Éa"_s,        u"E\u0301a"_s,
                                 u"Éb"_s,    u"\uFF5E"_s, u"\U0001F30D"_s};
        QCOMPARE(sorted({wanted[6], wanted[5], wanted[2], wanted[4], wanted[3], wanted[1], wanted[0]}),
                 wanted);
        QElapsedTimer timer;
        for (const QString &name :
             {u"a"_s + u"\u0301\u0323"_s.repeated(3000000), QString(6000000, u'\u0958')}) {
            timer.start();
            QCOMPARE(sorted({name, u"b"_s}).last(), name);
            QVERIFY2(timer.elapsed() < 20000, qPrintable(name.left(3)));
        }
    }
};

QTEST_GUILESS_MAIN(ApiTest)
#include "ApiTest.moc"
