#include "api/Records.h"
#include "api/ServiceManager.h"
#include "tests/support/Bodies.h"

#include <QElapsedTimer>
#include <QTest>

#include <clocale>
#include <limits>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

using Ids = QList<qint64>;

/// The path that the diagnosis of a list with this element in its middle names; empty where it decodes.
QString offender(const char *element)
{
    const QByteArray good = json("{'name':'n','country':'DE'}");
    const auto decoded =
        decode<ServiceResponse>("{\"endpoints\":[" + good + ',' + json(element) + ',' + good + "]}");
    return decoded ? QString() : decoded.error().message.section(u':', 0, 0);
}

std::optional<Ids> idsIn(const QByteArray &reply)
{
    const auto decoded = decode<FavServiceResponse>(reply);
    return decoded ? decoded->favorites : std::nullopt;
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
class RecordsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QCOMPARE(std::localeconv()->decimal_point, qEnvironmentVariableIsSet("LOCPATH") ? "," : ".");
    }

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
            "\xef\xbb\xbf{\"success\":false,\"address\":\"\",\"configuration\":\"s\\u0000t\","
            "\"configurationType\":\"\xef\xbb\xbf\xef\xbb\xbfx\",\"password\":\"\\ufeffü\"} \n");
        QVERIFY(details);
        QCOMPARE(details->configuration.size(), 3);
        QCOMPARE(details->configurationType, u"\ufeff\ufeffx"_s);
        QCOMPARE(details->password, u"\ufeffü"_s);
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
        QCOMPARE(offender("{'ping':[1,'2'],'name':'n','country':'DE'}"), u"endpoints[1].ping[1]"_s);
        QCOMPARE(offender("{'ping':[[1]],'name':'n','country':'DE'}"), u"endpoints[1].ping[0]"_s);
        QCOMPARE(offender("{'ping':{},'name':'n','country':'DE'}"), u"endpoints[1].ping"_s);
        QCOMPARE(offender("null"), u"endpoints[1]"_s);
    }

    void undecodableReplies_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::newRow("nothing") << QByteArray();
        QTest::newRow("a list") << QByteArray("[]");
        QTest::newRow("text after the object") << json("{'token':'a'} x");
        QTest::newRow("a second object") << json("{'token':'a'}{}");
        QTest::newRow("a NUL byte at the end") << json("{'token':'a'}") + '\0';
        QTest::newRow("a NUL byte and more") << json("{'token':'a'}") + QByteArray("\0x", 2);
        QTest::newRow("bad UTF-8") << QByteArray("{\"token\":\"\xff\"}");
        QTest::newRow("half a surrogate pair") << json("{'token':'\\ud800'}");
        QTest::newRow("a raw control character") << json("{'token':'\n'}");
        QTest::newRow("a number outside every type") << json("{'other':1e400}");
        QTest::newRow("a number for the token") << json("{'token':5}");
        QTest::newRow("the last of two is wrong") << json("{'token':'b','token':5}");
        QTest::newRow("a list for the message") << json("{'error':{'message':[]}}");
        QTest::newRow("deep and open") << QByteArray("{\"other\":" + QByteArray(100000, '[') + "}");
    }

    void undecodableReplies()
    {
        QFETCH(QByteArray, reply);
        const Result<Token> decoded = decode<Token>(reply);
        QVERIFY(!decoded);
        QVERIFY(!decoded.error().message.isEmpty() && decoded.error().message.size() < 400);
    }

    void integersAreExact()
    {
        using Limits = std::numeric_limits<qint64>;
        QCOMPARE(idsIn(json("{'favorites':[9223372036854775807,-9223372036854775808,9007199254740993.0,3.0,"
                            "1e2,-1250.0E-1,-922337203685477580.80e1,0e99999999999999999999,-0.0,100e-2]}")),
                 (Ids{Limits::max(), Limits::min(), 9007199254740993, 3, 100, -125, Limits::min(), 0, 0, 1}));
        for (const char *const number :
             {"3.5", "0.1", "3.00000000000000000001", "9223372036854775808", "-9223372036854775809",
              "9223372036854775807.5", "1e19", "1e-99999999999999999999", "1.5e-2147483648",
              "18446744073709551615"})
            QVERIFY2(!idsIn("{\"favorites\":[" + QByteArray(number) + "]}"), number);
    }

    void theLastOfTwoEqualKeysCounts()
    {
        QCOMPARE(*decode<Token>(json("{'token':5,'token':'b'}"))->token, u"b"_s);
        QCOMPARE(idsIn(json("{'favorites':[1,2],'favorites':[3]}")), Ids{3});
        QVERIFY(!decode<Token>(json("{'token':'a','token':null}"))->token);
        QVERIFY(!decode<EndpointConnectResponse>(
            json("{'success':true,'success':null,'address':'','configuration':'','configurationType':'','"
                 "password':''}")));
    }

    void nothingCostsMoreThanItsLength_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::newRow("deep lists") << QByteArray(4000000, '[') + QByteArray(4000000, ']');
        QTest::newRow("deep objects") << json("{'a':").repeated(2000000) + '0' + QByteArray(2000000, '}');
        QByteArray keys = json("{'':0");
        for (int number = 0; number < 500000; ++number)
            keys += ",\"" + QByteArray::number(number) + "\":0";
        QTest::newRow("many keys") << keys + '}';
        QTest::newRow("long number") << "1" + QByteArray(8000000, '0') + ".0e-8000000";
    }

    void nothingCostsMoreThanItsLength()
    {
        QFETCH(QByteArray, reply);
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(decode<Token>("{\"other\":" + reply + ",\"token\":\"t\"}")->token, u"t"_s);
        QVERIFY2(timer.elapsed() < 8000, "decoding takes more than the text's length");
    }

    void encodesInOrderWithoutAbsentFields()
    {
        QCOMPARE(encode(Token{u"a\"\u0001ü"_s, Error{}}),
                 QByteArray("{\"token\":\"a\\\"\\u0001ü\",\"error\":{}}"));
        const Service service{-3, u"n"_s, u"DE"_s, {}, QList<double>{1.5, 2}};
        QCOMPARE(encode(ServiceResponse{QList<Service>{service}}),
                 json("{'endpoints':[{'id':-3,'name':'n','country':'DE','ping':[1.5,2.0]}]}"));
        // A text that is no Unicode is written as one that can be read again.
        QVERIFY(decode<Token>(encode(Token{QString(QChar(0xd800)), {}})));
    }

    void sortsByScalarValuesAfterComposition()
    {
        // U+FF5E stands above the surrogates of U+1F30D in UTF-16, but below it as a scalar value.
        const QString decomposed = u"E\u0301a"_s;
        const QStringList wanted{u"Alpha"_s, u"alpha"_s, u"beta"_s,   u"Éa"_s,
                                 decomposed, u"Éb"_s,    u"\uFF5E"_s, u"\U0001F30D"_s};
        QStringList names;
        for (const int index : {7, 2, 6, 3, 5, 1, 4, 0})
            names.append(wanted.at(index));
        QCOMPARE(sorted(names), wanted);
        // Marks of different classes in either order are the same text.
        const QString marks = u"q\u0323\u0307"_s + QString(40, u'\u0307');
        const QString swapped = u"q\u0307\u0323"_s + QString(40, u'\u0307');
        QCOMPARE(sorted({swapped, marks}), (QStringList{swapped, marks}));
        QCOMPARE(sorted({marks + u'b', swapped + u'a'}), (QStringList{swapped + u'a', marks + u'b'}));
    }

    void longNamesAreSortedAtOnce_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("combining marks of one class") << u"a"_s + QString(2000000, u'\u0301');
        QTest::newRow("of two classes by turns") << u"a"_s + u"\u0301\u0323"_s.repeated(1000000);
        QTest::newRow("letters that are decomposed") << QString(2000000, u'\u0958');
    }

    void longNamesAreSortedAtOnce()
    {
        QFETCH(QString, name);
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(sorted({name, u"b"_s}).last(), name);
        QVERIFY2(timer.elapsed() < 4000, "sorting takes more than the name's length");
    }
};

QTEST_GUILESS_MAIN(RecordsTest)
#include "RecordsTest.moc"
