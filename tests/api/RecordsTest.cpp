#include "api/EndpointConnectResponse.h"
#include "api/FavServiceResponse.h"
#include "api/RecordCoding.h"
#include "api/Response.h"
#include "api/ServiceResponse.h"
#include "api/ServiceSorting.h"
#include "api/Token.h"
#include "tests/support/Bodies.h"

#include <QTest>

#include <limits>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

const QByteArray minimalService = json("'name':'n','country':'DE'");

/// The path in front of the first colon of a failure's diagnosis; empty where decoding succeeded.
template<class Record>
QString faultPath(const QByteArray &text)
{
    const Result<Record> decoded = decode<Record>(text);
    return decoded ? QString() : decoded.error().message.section(u':', 0, 0);
}

} // namespace

class RecordsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decodesWhatIsThere()
    {
        const auto reply =
            decode<ServiceResponse>(json("{'endpoints':[{'id':3,'name':'Zürich','country':'CH','address':'a."
                                         "example','ping':[12.5,30,18.1],'extra':{'deep':[1,{'id':'x'}]}},{'"
                                         "name':'','country':'','id':null,'address':null}],'more':[[]]}"));
        QVERIFY(reply && reply->services);
        const Service full{3, u"Zürich"_s, u"CH"_s, u"a.example"_s, QList<double>{12.5, 30, 18.1}};
        QCOMPARE(*reply->services, (QList<Service>{full, Service{}}));
        const auto details = decode<EndpointConnectResponse>(
            "{\"success\":false,\"address\":\"\",\"configuration\":\"s\\u0000t\","
            "\"configurationType\":\"\",\"password\":\"ü\"}");
        QVERIFY(details);
        QCOMPARE(details->configuration.size(), 3);
        QCOMPARE(details->password, u"ü"_s);
        const auto favorites = decode<FavServiceResponse>(json("{'favorites':[1,2,2]}"));
        QCOMPARE(*favorites->favorites, (QList<qint64>{1, 2, 2}));
        const auto token = decode<Token>(json("{'token':null,'error':{'message':'no'}}"));
        QVERIFY(!token->token);
        QCOMPARE(*token->error->message, u"no"_s);
        QVERIFY(decode<Token>(json("{'error':{}}"))->error.has_value());
    }

    void absentKeysStayAbsent()
    {
        QVERIFY(!decode<ServiceResponse>("{}")->services);
        QVERIFY(!decode<ServiceResponse>(json("{'services':[{}],'Endpoints':3}"))->services);
        QVERIFY(!decode<FavServiceResponse>(json("{'favorites':null}"))->favorites);
        QVERIFY(!decode<Response>("{}")->success);
        QVERIFY(!decode<Token>("{}")->token);
    }

    void wrongInputNamesTheOffender_data()
    {
        QTest::addColumn<QByteArray>("element");
        QTest::addColumn<QString>("path");
        const auto row = [](const char *name, const QByteArray &element, const QString &path) {
            QTest::newRow(name) << element << path;
        };
        row("required key missing", json("{'name':'n'}"), u"endpoints[1].country"_s);
        row("required key null", json("{'name':null,'country':'DE'}"), u"endpoints[1].name"_s);
        row("number for a text", json("{'name':1,'country':'DE'}"), u"endpoints[1].name"_s);
        row("object for a text", json("{'name':{'a':[]},'country':'DE'}"), u"endpoints[1].name"_s);
        row("text for an integer", "{\"id\":\"3\"," + minimalService + "}", u"endpoints[1].id"_s);
        row("boolean for an integer", "{\"id\":true," + minimalService + "}", u"endpoints[1].id"_s);
        row("fraction for an integer", "{\"id\":3.5," + minimalService + "}", u"endpoints[1].id"_s);
        row("2^63", "{\"id\":9223372036854775808," + minimalService + "}", u"endpoints[1].id"_s);
        row("below -2^63", "{\"id\":-9223372036854775809," + minimalService + "}", u"endpoints[1].id"_s);
        row("text in a list of floats", "{\"ping\":[1,\"2\"]," + minimalService + "}",
            u"endpoints[1].ping[1]"_s);
        row("object for a list", "{\"ping\":{}," + minimalService + "}", u"endpoints[1].ping"_s);
        row("null element", "null", u"endpoints[1]"_s);
        row("list element", "[]", u"endpoints[1]"_s);
    }

    void wrongInputNamesTheOffender()
    {
        QFETCH(QByteArray, element);
        QFETCH(QString, path);
        const QByteArray good = "{" + minimalService + "}";
        const QByteArray reply = "{\"endpoints\":[" + good + "," + element + "," + good + "]}";
        QCOMPARE(faultPath<ServiceResponse>(reply), path);
    }

    void undecodableReplies_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("error page") << QByteArray("<html>502</html>");
        QTest::newRow("list at the top") << QByteArray("[]");
        QTest::newRow("text at the top") << QByteArray("\"x\"");
        QTest::newRow("cut off") << json("{'token':'ab");
        QTest::newRow("rubbish behind") << json("{'token':'a'} x");
        QTest::newRow("invalid UTF-8") << QByteArray("{\"token\":\"\xff\"}");
        QTest::newRow("raw control character") << QByteArray("{\"token\":\"a\nb\"}");
        QTest::newRow("lone surrogate") << QByteArray("{\"token\":\"\\ud800\"}");
        QTest::newRow("number outside every type") << json("{'other':1e400}");
        QTest::newRow("nested too deep")
            << QByteArray("{\"other\":" + QByteArray(100000, '[') + QByteArray(100000, ']') + "}");
        QTest::newRow("wrong type of an optional field") << json("{'token':5}");
        QTest::newRow("non-object for a record") << json("{'error':'no'}");
        QTest::newRow("wrong inside a nested record") << json("{'error':{'message':[]}}");
    }

    void undecodableReplies()
    {
        QFETCH(QByteArray, reply);
        const auto decoded = decode<Token>(reply);
        QVERIFY(!decoded);
        QVERIFY(!decoded.error().message.isEmpty());
    }

    void integersAreExact_data()
    {
        QTest::addColumn<QByteArray>("number");
        QTest::addColumn<qint64>("value");
        QTest::newRow("largest") << QByteArray("9223372036854775807") << std::numeric_limits<qint64>::max();
        QTest::newRow("smallest") << QByteArray("-9223372036854775808") << std::numeric_limits<qint64>::min();
        QTest::newRow("beyond a double's digits")
            << QByteArray("9007199254740993.0") << Q_INT64_C(9007199254740993);
        QTest::newRow("with point") << QByteArray("3.0") << Q_INT64_C(3);
        QTest::newRow("with exponent") << QByteArray("1e2") << Q_INT64_C(100);
        QTest::newRow("with both") << QByteArray("-1250.0E-1") << Q_INT64_C(-125);
        QTest::newRow("smallest with point")
            << QByteArray("-922337203685477580.80e1") << std::numeric_limits<qint64>::min();
        QTest::newRow("zero with a huge exponent") << QByteArray("0e99999999999999999999") << Q_INT64_C(0);
    }

    void integersAreExact()
    {
        QFETCH(QByteArray, number);
        QFETCH(qint64, value);
        const auto decoded = decode<FavServiceResponse>("{\"favorites\":[" + number + "]}");
        QVERIFY(decoded);
        QCOMPARE(decoded->favorites->first(), value);
    }

    void theLastOfTwoEqualKeysCounts()
    {
        QCOMPARE(*decode<Token>(json("{'token':5,'token':'b'}"))->token, u"b"_s);
        QVERIFY(!decode<Token>(json("{'token':'b','token':5}")));
        QVERIFY(!decode<Token>(json("{'token':'b','token':null}"))->token);
        QCOMPARE(decode<FavServiceResponse>(json("{'favorites':[1,2],'favorites':[3]}"))->favorites->size(),
                 1);
        QVERIFY(!decode<EndpointConnectResponse>(
            json("{'success':true,'success':null,'address':'','configuration':'','configurationType':'','"
                 "password':''}")));
    }

    void encodesInOrderWithoutAbsentFields()
    {
        const QByteArray token = encode(Token{u"a\"\u0001ü"_s, Error{u"m"_s}});
        const QByteArray wantedToken = "{\"token\":\"a\\\"\\u0001ü\",\"error\":{\"message\":\"m\"}}";
        QCOMPARE(token, wantedToken);
        QCOMPARE(encode(Token{{}, Error{}}), QByteArray("{\"error\":{}}"));
        const Service service{std::numeric_limits<qint64>::min(), u"n"_s, u"DE"_s, {}, QList<double>{1.5, 2}};
        const QByteArray wantedList = "{\"endpoints\":[{\"id\":-9223372036854775808,\"name\":\"n\","
                                      "\"country\":\"DE\",\"ping\":[1.5,2.0]}]}";
        QCOMPARE(encode(ServiceResponse{QList<Service>{service}}), wantedList);
        const QByteArray wantedDetails = "{\"success\":true,\"address\":\"a\",\"configuration\":\"b\","
                                         "\"configurationType\":\"c\",\"password\":\"d\"}";
        QCOMPARE(encode(EndpointConnectResponse{true, u"a"_s, u"b"_s, u"c"_s, u"d"_s}), wantedDetails);
        QCOMPARE(encode(FavServiceResponse{QList<qint64>{}}), QByteArray("{\"favorites\":[]}"));
        QCOMPARE(encode(Response{false}), QByteArray("{\"success\":false}"));
        QVERIFY(decode<Token>(encode(Token{QString(QChar(0xd800)), {}})));
    }

    void sortsByScalarValuesAfterComposition()
    {
        // U+FF5E stands above the surrogates of U+1F30D in UTF-16, but below it as a scalar value.
        const QString decomposed = u"E\u0301a"_s;
        const QStringList wanted{u"Alpha"_s, u"alpha"_s, u"beta"_s,   u"Éa"_s,
                                 decomposed, u"Éb"_s,    u"\uFF5E"_s, u"\U0001F30D"_s};
        QList<Service> services;
        for (const int index : {7, 2, 6, 3, 5, 1, 4, 0})
            services.append(Service{index, wanted.at(index), u"DE"_s, {}, {}});
        sortByName(services);
        QStringList names;
        for (const Service &service : std::as_const(services))
            names.append(service.name);
        QCOMPARE(names, wanted);
    }
};

QTEST_APPLESS_MAIN(RecordsTest)
#include "RecordsTest.moc"
