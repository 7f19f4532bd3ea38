#include "api/ServiceManager.h"
#include "tests/support/HomeFixture.h"

#include <QElapsedTimer>
#include <QTest>
#include <QTimer>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// A survey over the kinds of hosts there are, at their distances; the addresses are the lab's.
class SurveyTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY2(qEnvironmentVariableIsSet("VELMORA_LAB"), "this test runs in a lab"); }

    void everyKindOfHostEndsAsAMeasurement()
    {
        struct Host
        {
            QString what;
            QString address;
            /// Milliseconds.
            double atLeast, atMost;
        };
        const QList<Host> hosts{
            {u"accepts"_s, u"198.18.16.1"_s, 20, 30},
            {u"refuses"_s, u"198.18.22.1"_s, 45, 55},
            {u"accepts, by name"_s, u"api.velmora.test"_s, 0, 10},
            // One repetition of the first packet after a second, and the end two seconds later.
            {u"is silent"_s, u"198.18.31.1"_s, 2900, 4000},
            {u"cannot be resolved"_s, u"nowhere.velmora.test"_s, 0, 1000},
            {u"has no name"_s, QString(), 0, 1000},
            {u"accepts, after the silent one"_s, u"198.18.5.1"_s, 3, 13},
        };
        HomeFixture home;
        home.loadWithoutService();
        QList<Service> &all = ServiceManager::shared().allService;
        for (const Host &host : hosts)
            all.append(Service{all.size() + 1, host.what, u"DE"_s, host.address, {}});

        // Nothing blocks the event loop meanwhile.
        QElapsedTimer sinceLast;
        qint64 longestPauseMilliseconds = 0;
        QTimer pulse;
        QObject::connect(&pulse, &QTimer::timeout, &pulse, [&] {
            longestPauseMilliseconds = std::max(longestPauseMilliseconds, sinceLast.restart());
        });
        sinceLast.start();
        pulse.start(10ms);
        home.screen->pingButtonClicked();
        QTRY_VERIFY_WITH_TIMEOUT(!home.screen->isSurveying(), 60000);
        QVERIFY(longestPauseMilliseconds < 1000);

        for (qsizetype index = 0; index < hosts.size(); ++index) {
            const Host &host = hosts.at(index);
            const QList<double> ping = all.at(index).ping.value_or(QList<double>());
            QCOMPARE(ping.size(), 3);
            const QByteArray seen =
                u"%1: from %2 to %3 ms"_s.arg(host.what).arg(ping[0]).arg(ping[1]).toUtf8();
            QVERIFY2(ping[0] >= host.atLeast && ping[0] <= host.atMost, seen.constData());
        }
    }
};

QTEST_MAIN(SurveyTest)
#include "SurveyTest.moc"
