#include "servers/PingTest.h"
#include "tests/support/DeathTest.h"
#include "tests/support/OutputCapture.h"

#include <QSignalSpy>
#include <QTcpServer>
#include <QTest>

#include <limits>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

/// A probe whose events and clock are set by hand: what its streams meet, only an event loop would tell.
struct Bench
{
    explicit Bench(TimebaseInfo factor = {1, 1})
        : probe(std::make_shared<PingTest>(
              u"127.0.0.1"_s, 443,
              [this](const PingTest::Summary &summary) {
                  result.append({summary.min, summary.max, summary.average});
              },
              ProbePlatform{streamsToHost, [this] { return now; },
                            [factor](TimebaseInfo &info) {
                                info = factor;
                                return true;
                            }}))
    {
    }

    /// An event of the present attempt, so many ticks after the last one.
    void event(int code, std::uint64_t ticks)
    {
        now += ticks;
        probe->streamHandleEvent(*stream, code);
    }

    /// What attempts of 10, 20, … 60 ms yield that end with these events: minimum, maximum, average.
    QList<double> resultOf(const QList<int> &codes)
    {
        probe->beginAttempt();
        std::uint64_t milliseconds = 0;
        for (const int code : codes) {
            milliseconds += 10;
            event(StreamEvent::hasBytesAvailable, 0);
            event(StreamEvent::hasSpaceAvailable, 0);
            event(code, milliseconds * 1000000);
        }
        return result;
    }

    std::uint64_t now = 1000;
    QList<double> result;
    std::shared_ptr<Stream> stream = streamsToHost(u"127.0.0.1"_s, 443).input;
    std::shared_ptr<PingTest> probe;
};

bool dies(TimebaseInfo factor, const std::function<void(Bench &)> &action)
{
    return runsToItsDeath([&] {
               Bench bench(factor);
               action(bench);
           })
        .aborted;
}

} // namespace

class PingTestTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void summaryRule()
    {
        OutputCapture output;
        QCOMPARE(Bench().resultOf({8, 1, 16, 1, 8, 16}), (QList<double>{20, 60, 200.0 / 6}));
        QCOMPARE(output.lines(), QStringList());
        QCOMPARE(Bench().resultOf({1, 1, 1, 32, 1, 1}), (QList<double>{50, 60, 159.0 / 6}));
        QCOMPARE(Bench().resultOf({1, 1, 1, 1, 1, 3}), (QList<double>{-1, 50, 139.0 / 6}));
        output.clear();
        QCOMPARE(Bench().resultOf({0, 0, 0, 0, 0, 0}), (QList<double>{-1, -1, -5.0 / 6}));
        QCOMPARE(output.lines(), QStringList(6, u"log default reached. unknown stream event"_s));
    }

    void ticksAreTurnedIntoMillisecondsByIntegers()
    {
        Bench bench({125, 3});
        bench.probe->beginAttempt();
        bench.event(StreamEvent::openCompleted, 100);
        // 100 × 125 / 3 truncates to 4166 ns.
        QCOMPARE(bench.probe->samples(), QList<double>{4166.0 / 1000000000.0 * 1000.0});
        QCOMPARE(bench.probe->summary().min, -1.0);
        QCOMPARE(bench.probe->summary().average, 0.0);
    }

    void brokenInvariantsAreFatal()
    {
        const auto attemptOf = [](std::uint64_t ticks) {
            return [ticks](Bench &bench) {
                bench.probe->beginAttempt();
                bench.event(StreamEvent::errorOccurred, ticks);
            };
        };
        constexpr auto most = std::numeric_limits<std::uint64_t>::max();
        QVERIFY(dies({1, 1}, [](Bench &bench) { static_cast<void>(bench.probe->summary()); }));
        QVERIFY(dies({1, 1}, [](Bench &bench) { bench.event(StreamEvent::openCompleted, 1); }));
        QVERIFY2(dies({1, 1}, attemptOf(most)), "the clock goes back by one");
        QVERIFY(dies({1, 0}, attemptOf(1)));
        QVERIFY(dies({2, 1}, attemptOf(most / 2 + 1)));
        QVERIFY(!dies({2, 1}, attemptOf(most / 2 - 1000)));
    }

    void realHosts_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<int>("accepted");
        QTest::newRow("accepts, by name") << u"localhost"_s << 6;
        QTest::newRow("accepts on IPv6") << u"::1"_s << 6;
        QTest::newRow("refuses") << u"127.0.0.2"_s << 0;
        QTest::newRow("fails at once") << u"255.255.255.255"_s << 0;
        QTest::newRow("no host name at all") << u"a b\nc"_s << 0;
    }

    void realHosts()
    {
        QFETCH(QString, address);
        QFETCH(int, accepted);
        QTcpServer server;
        if (!server.listen(
                QHostAddress(address == u"::1"_s ? QHostAddress::LocalHostIPv6 : QHostAddress::LocalHost)))
            QSKIP("no IPv6 here");
        const QSignalSpy connections(&server, &QTcpServer::newConnection);
        std::optional<PingTest::Summary> result;
        std::shared_ptr<PingTest> probe;
        // As the survey does: the result lets go of its probe.
        probe =
            std::make_shared<PingTest>(address, server.serverPort(), [&](const PingTest::Summary &summary) {
                result = summary;
                probe.reset();
            });
        probe->beginAttempt();
        QVERIFY2(!result, "the result must come from the event loop");
        QTRY_VERIFY_WITH_TIMEOUT(result, 20000);
        QVERIFY(result->min > 0 && result->min <= result->max);
        QTRY_COMPARE(connections.size(), accepted);
    }

    void aDroppedProbeIsNotCalledBack()
    {
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost));
        int results = 0;
        const auto begun = [&](const QString &address) {
            auto probe = std::make_shared<PingTest>(address, server.serverPort(),
                                                    [&](const PingTest::Summary &) { ++results; });
            probe->beginAttempt();
            return probe;
        };
        begun(u"127.0.0.1"_s);
        begun(u"no-such-host.invalid"_s);
        // A probe that is begun later has ended: so would have the dropped ones.
        const auto later = begun(u"no-such-host.invalid"_s);
        QTRY_COMPARE_WITH_TIMEOUT(later->samples().size(), 6, 20000);
        QCOMPARE(results, 1);
    }
};

QTEST_GUILESS_MAIN(PingTestTest)
#include "PingTestTest.moc"
