#include "api/Records.h"
#include "api/ServiceManager.h"
#include "tests/support/Bodies.h"

#include <QElapsedTimer>
#include <QTest>

#include <clocale>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

/// The record, encoded; where there is none, the path that the diagnosis names.
template<class Record>
QByteArray outcomeOf(const QByteArray &reply)
{
    const Result<Record> decoded = decode<Record>(reply);
    if (decoded)
        return encode(*decoded);
    const QString message = decoded.error().message;
    if (message.size() > 400)
        return "a diagnosis of any length";
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
class RecordsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QCOMPARE(std::localeconv()->decimal_point, qEnvironmentVariableIsSet("LOCPATH") ? "," : ".");
    }

    void repliesAndTheirRecords()
    {
        const auto services = outcomeOf<ServiceResponse>;
        const auto favorites = outcomeOf<FavServiceResponse>;
        const auto details = outcomeOf<EndpointConnectResponse>;
        const auto token = outcomeOf<Token>;
        const struct
        {
            QByteArray (*decoded)(const QByteArray &);
            const char *reply;
            const char *outcome;
        } cases[] = {
            {services,
             "{'endpoints':[{'extra':{'deep':[1,{'id':'x'}]},'ping':[12.5,30,18.1],'address':'a','country':'"
             "CH'"
             ",'name':'ü\\u0001','id':3},{'name':'','country':'','id':null,'address':null}],'more':[[]]}",
             "{'endpoints':[{'id':3,'name':'ü\\u0001','country':'CH','address':'a','ping':[12.5,30.0,18.1]},"
             "{'name':'','country':''}]}"},
            {services, "{'services':[{}],'Endpoints':3}", "{}"},
            {services, "{'endpoints':[{'name':'','country':''},{'name':'n'}]}", "endpoints[1].country"},
            {services, "{'endpoints':[{'country':'','name':null}]}", "endpoints[0].name"},
            {services, "{'endpoints':[{'country':'','name':{'a':[]}}]}", "endpoints[0].name"},
            {services, "{'endpoints':[{'country':'','name':'','id':'3'}]}", "endpoints[0].id"},
            {services, "{'endpoints':[{'country':'','name':'','ping':[1,'2']}]}", "endpoints[0].ping[1]"},
            {services, "{'endpoints':[{'country':'','name':'','ping':[[1]]}]}", "endpoints[0].ping[0]"},
            {services, "{'endpoints':[{'country':'','name':'','ping':{}}]}", "endpoints[0].ping"},
            {services, "{'endpoints':[null]}", "endpoints[0]"},
            {favorites, "{'favorites':null}", "{}"},
            {favorites, "{'favorites':[1,2],'favorites':[3]}", "{'favorites':[3]}"},
            {favorites,
             "{'favorites':[9223372036854775807,-9223372036854775808,9007199254740993.0,3.0,1e2,-1250.0E-1,"
             "-922337203685477580.80e1,0e99999999999999999999,-0.0,100e-2]}",
             "{'favorites':[9223372036854775807,-9223372036854775808,9007199254740993,3,100,-125,"
             "-9223372036854775808,0,0,1]}"},
            {details,
             "\ufeff{'success':false,'address':'','configuration':'s\\u0000t','configurationType':'\ufeff"
             "\ufeffx','password':'\\ufeff'} \n",
             "{'success':false,'address':'','configuration':'s\\u0000t','configurationType':'\ufeff\ufeffx',"
             "'password':'\ufeff'}"},
            {details,
             "{'success':true,'success':null,'address':'','configuration':'','configurationType':'','"
             "password'"
             ":''}",
             "success"},
            {token, "{'token':null,'error':{'message':'no'}}", "{'error':{'message':'no'}}"},
            {token, "{'error':{}}", "{'error':{}}"},
            {token, "{'token':5,'token':'b'}", "{'token':'b'}"},
            {token, "{'token':'a','token':null}", "{}"},
            {token, "{'token':'b','token':5}", "token"},
            {token, "{'error':{'message':[]}}", "error.message"},
            {token, "[]", "the reply"},
            {token, "", "no JSON"},
            {token, "{'token':'a'} x", "no JSON"},
            {token, "{'token':'a'}{}", "no JSON"},
            {token, "{'token':'\xff'}", "no JSON"},
            {token, "{'token':'\\ud800'}", "no JSON"},
            {token, "{'token':'\n'}", "no JSON"},
            {token, "{'other':1e400}", "no JSON"},
            {outcomeOf<Response>, "{'success':'true'}", "success"},
        };
        for (const auto &[decoded, reply, outcome] : cases)
            QCOMPARE(decoded(json(reply)), json(outcome));
        for (const char *const number :
             {"3.5", "0.1", "3.00000000000000000001", "9223372036854775808", "-9223372036854775809",
              "9223372036854775807.5", "1e19", "1e-99999999999999999999", "1.5e-2147483648",
              "18446744073709551615"})
            QCOMPARE(favorites("{\"favorites\":[" + QByteArray(number) + "]}"), "favorites[0]");
        QCOMPARE(token("{}" + QByteArray(1, '\0')), "a NUL byte in the reply");
        QCOMPARE(token("{\"other\":" + QByteArray(100000, '[') + "}"), "no JSON");
        // A text that is no Unicode is written as one that can be read again.
        QCOMPARE(encode(Token{QString(QChar(0xd800)), {}}), json("{'token':'?'}"));
    }

    void sortsByScalarValuesAfterComposition()
    {
        // U+FF5E stands above the surrogates of U+1F30D in UTF-16, but below it as a scalar value.
        const QStringList wanted{u"Alpha"_s,    u"alpha"_s, u"beta"_s,   u"Éa"_s,
                                 u"E\u0301a"_s, u"Éb"_s,    u"\uFF5E"_s, u"\U0001F30D"_s};
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

    void nothingCostsMoreThanItsLength()
    {
        QByteArray keys = json("{'':0");
        for (int number = 0; number < 500000; ++number)
            keys += ",\"" + QByteArray::number(number) + "\":0";
        QElapsedTimer timer;
        for (const QByteArray &reply : {QByteArray(4000000, '[') + QByteArray(4000000, ']'),
                                        json("{'a':").repeated(2000000) + '0' + QByteArray(2000000, '}'),
                                        keys + '}', "1" + QByteArray(8000000, '0') + ".0e-8000000"}) {
            timer.start();
            QCOMPARE(outcomeOf<Token>("{\"other\":" + reply + '}'), "{}");
            QVERIFY2(timer.elapsed() < 8000, reply.left(20));
        }
        for (const QString &name :
             {u"a"_s + QString(6000000, u'\u0301'), u"a"_s + u"\u0301\u0323"_s.repeated(3000000),
              QString(6000000, u'\u0958')}) {
            timer.start();
            QCOMPARE(sorted({name, u"b"_s}).last(), name);
            QVERIFY2(timer.elapsed() < 4000, qPrintable(name.left(3)));
        }
    }
};

QTEST_GUILESS_MAIN(RecordsTest)
#include "RecordsTest.moc"
