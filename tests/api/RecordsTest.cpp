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

/// What the diagnosis of a list with this element in its middle names; empty where it decodes.
QString offender(const char *element)
{
    const QByteArray good = json("{'name':'n','country':'DE'}");
    const auto decoded =
        decode<ServiceResponse>("{\"endpoints\":[" + good + ',' + json(element) + ',' + good + "]}");
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
        const QByteArray deep = QByteArray(100000, '[') + QByteArray(100000, ']');
        QCOMPARE(decode<Token>("{\"other\":" + deep + ",\"token\":\"t\"}")->token, u"t"_s);
        const auto details = decode<EndpointConnectResponse>(
            "{\"success\":false,\"address\":\"\",\"configuration\":\"s\\u0000t\","
            "\"configurationType\":\"\",\"password\":\"ü\"}");
        QVERIFY(details);
        QCOMPARE(details->configuration.size(), 3);
        QCOMPARE(details->password, u"ü"_s);
        QCOMPARE(*decode<Token>(json("{'token':null,'error':{'message':'no'}}")),
                 (Token{{}, Error{u"no"_s}}));
        QCOMPARE(*decode<Token>(json("{'error':{}}")), (Token{{}, Error{}}));
        QVERIFY(!decode<ServiceResponse>(json("{'services':[{}],'Endpoints':3}"))->services);
        QVERIFY(!decode<FavServiceResponse>(json("{'favorites':null}"))->favorites);
        QVERIFY(!decode<Response>("{}")->success);
    }

    void wrongInputNamesTheOffender()
    {
        QCOMPARE(offender("{'name':'n'}"), u"endpoints[1].country"_s);
        QCOMPARE(offender("{'name':null,'country':'DE'}"), u"endpoints[1].name"_s);
        QCOMPARE(offender("{'name':{'a':[]},'country':'DE'}"), u"endpoints[1].name"_s);
        QCOMPARE(offender("{'id':'3','name':'n','country':'DE'}"), u"endpoints[1].id"_s);
        QCOMPARE(offender("{'id':3.5,'name':'n','country':'DE'}"), u"endpoints[1].id"_s);
        QCOMPARE(offender("{'id':1e-99999999999999999999,'name':'n','country':'DE'}"), u"endpoints[1].id"_s);
        QCOMPARE(offender("{'id':9223372036854775808,'name':'n','country':'DE'}"), u"endpoints[1].id"_s);
        QCOMPARE(offender("{'id':-9223372036854775809,'name':'n','country':'DE'}"), u"endpoints[1].id"_s);
        QCOMPARE(offender("{'ping':[1,'2'],'name':'n','country':'DE'}"), u"endpoints[1].ping[1]"_s);
        QCOMPARE(offender("{'ping':{},'name':'n','country':'DE'}"), u"endpoints[1].ping"_s);
        QCOMPARE(offender("null"), u"endpoints[1]"_s);
    }

    void undecodableReplies()
    {
        QVERIFY(!decode<Token>(""));
        QVERIFY(!decode<Token>("[]"));
        QVERIFY(!decode<Token>(json("{'token':'a'} x")));
        QVERIFY(!decode<Token>("{\"token\":\"\xff\"}"));
        QVERIFY(!decode<Token>(json("{'other':1e400}")));
        QVERIFY(!decode<Token>(json("{'token':5}")));
        QVERIFY(!decode<Token>(json("{'error':{'message':[]}}")));
        QVERIFY(!decode<Token>("{\"other\":" + QByteArray(100000, '[') + "}"));
    }

    void integersAreExact()
    {
        const auto decoded = decode<FavServiceResponse>(
            json("{'favorites':[9223372036854775807,-9223372036854775808,9007199254740993.0,3.0,1e2,"
                 "-1250.0E-1,-922337203685477580.80e1,0e99999999999999999999]}"));
        QVERIFY(decoded);
        using Limits = std::numeric_limits<qint64>;
        QCOMPARE(*decoded->favorites, (QList<qint64>{Limits::max(), Limits::min(), 9007199254740993, 3, 100,
                                                     -125, Limits::min(), 0}));
    }

    void theLastOfTwoEqualKeysCounts()
    {
        QCOMPARE(*decode<Token>(json("{'token':5,'token':'b'}"))->token, u"b"_s);
        QVERIFY(!decode<Token>(json("{'token':'b','token':5}")));
        QCOMPARE(decode<FavServiceResponse>(json("{'favorites':[1,2],'favorites':[3]}"))->favorites->size(),
                 1);
        QVERIFY(!decode<EndpointConnectResponse>(
            json("{'success':true,'success':null,'address':'','configuration':'','configurationType':'','"
                 "password':''}")));
    }

    void encodesInOrderWithoutAbsentFields()
    {
        QCOMPARE(encode(Token{u"a\"\u0001ü"_s, Error{}}),
                 QByteArray("{\"token\":\"a\\\"\\u0001ü\",\"error\":{}}"));
        const Service service{-3, u"n"_s, u"DE"_s, {}, QList<double>{1.5, 2}};
        QCOMPARE(encode(ServiceResponse{QList<Service>{service}}),
                 json("{'endpoints':[{'id':-3,'name':'n','country':'DE','ping':[1.5,2.0]}]}"));
        // What is no Unicode is written as something that can be read again.
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
