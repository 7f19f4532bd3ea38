#include "servers/PingTest.h"
#include "tests/support/DeathTest.h"
#include "tests/support/OutputCapture.h"

#include <QTcpServer>
#include <QTest>

#include <limits>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

class ScriptedStream final : public Stream
{
public:
    void setDelegate(StreamDelegate *) override {}
    void scheduleInRunLoop() override {}
    void removeFromRunLoop() override {}
    void open() override { isOpen = true; }
    void close() override { isOpen = false; }

    bool isOpen = false;
};

/// A probe on scripted streams and a clock that is set by hand.
struct Bench
{
    std::uint64_t now = 1000;
    TimebaseInfo factor{1, 1};
    bool streamsExist = true;
    int pairs = 0;
    QList<PingTest::Summary> results;
    std::weak_ptr<ScriptedStream> lastInput;
    std::shared_ptr<PingTest> probe = std::make_shared<PingTest>(
        u"host"_s, 443, [this](const PingTest::Summary &result) { results.append(result); },
        ProbePlatform{[this](const QString &, qint64) { return makePair(); }, [this] { return now; },
                      [this](TimebaseInfo &info) {
                          info = factor;
                          return true;
                      }});

    StreamPair makePair()
    {
        ++pairs;
        if (!streamsExist)
            return {};
        auto input = std::make_shared<ScriptedStream>();
        lastInput = input;
        return {input, std::make_shared<ScriptedStream>()};
    }

    /// An event of the present attempt, so many milliseconds after its start.
    void event(int code, std::uint64_t milliseconds)
    {
        now += milliseconds * 1000000;
        ScriptedStream stream;
        probe->streamHandleEvent(stream, code);
    }
};

bool dies(const std::function<void(Bench &)> &action)
{
    return runsToItsDeath([&action] {
               Bench bench;
               action(bench);
           })
        .aborted;
}

} // namespace

class PingTestTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void summaryRule_data()
    {
        QTest::addColumn<QList<int>>("codes");
        QTest::addColumn<double>("min");
        QTest::addColumn<double>("max");
        QTest::addColumn<double>("sum");
        // The attempts take 10, 20, … 60 ms; the first does not count.
        QTest::newRow("all open") << QList<int>{1, 1, 1, 1, 1, 1} << 20.0 << 60.0 << 200.0;
        QTest::newRow("errors and ends count") << QList<int>{8, 8, 16, 1, 8, 16} << 20.0 << 60.0 << 200.0;
        QTest::newRow("unknown first") << QList<int>{0, 1, 1, 1, 1, 1} << 20.0 << 60.0 << 200.0;
        QTest::newRow("unknown in the middle") << QList<int>{1, 1, 1, 32, 1, 1} << 50.0 << 60.0 << 159.0;
        QTest::newRow("unknown last") << QList<int>{1, 1, 1, 1, 1, 3} << -1.0 << 50.0 << 139.0;
        QTest::newRow("all unknown") << QList<int>{0, 0, 0, 0, 0, 0} << -1.0 << -1.0 << -5.0;
    }

    void summaryRule()
    {
        QFETCH(QList<int>, codes);
        QFETCH(double, sum);
        OutputCapture output;
        Bench bench;
        bench.probe->beginAttempt();
        for (qsizetype index = 0; index < codes.size(); ++index) {
            QVERIFY(bench.results.isEmpty());
            bench.event(StreamEvent::hasBytesAvailable, 0);
            bench.event(StreamEvent::hasSpaceAvailable, 0);
            bench.event(codes.at(index), static_cast<std::uint64_t>(10 * (index + 1)));
        }
        QCOMPARE(bench.results.size(), 1);
        QTEST(bench.results.first().min, "min");
        QTEST(bench.results.first().max, "max");
        QCOMPARE(bench.results.first().average, sum / 6);
        QCOMPARE(bench.pairs, 6);
        QVERIFY(bench.lastInput.expired());
        QCOMPARE(output.lines(), QStringList(bench.probe->samples().count(-1.0),
                                             u"log default reached. unknown stream event"_s));
    }

    void fewSamples()
    {
        Bench bench;
        bench.probe->beginAttempt();
        bench.event(StreamEvent::openCompleted, 5);
        QCOMPARE(bench.probe->summary().min, -1.0);
        QCOMPARE(bench.probe->summary().average, 0.0);
        bench.event(StreamEvent::openCompleted, 8);
        QCOMPARE(bench.probe->summary().average, 4.0);
    }

    void ticksAreTurnedIntoMillisecondsByIntegers()
    {
        Bench bench;
        bench.factor = {125, 3};
        const auto probe = std::make_shared<PingTest>(
            u"host"_s, 443, PingTest::Handler(),
            ProbePlatform{[&bench](const QString &, qint64) { return bench.makePair(); },
                          [&bench] { return bench.now; },
                          [&bench](TimebaseInfo &info) {
                              info = bench.factor;
                              return true;
                          }});
        probe->beginAttempt();
        bench.now += 100;
        ScriptedStream stream;
        probe->streamHandleEvent(stream, StreamEvent::openCompleted);
        // 100 × 125 / 3 truncates to 4166 ns.
        QCOMPARE(probe->samples().first(), 4166.0 / 1000000000.0 * 1000.0);
    }

    void brokenInvariantsAreFatal()
    {
        QVERIFY(dies([](Bench &bench) { static_cast<void>(bench.probe->summary()); }));
        QVERIFY(dies([](Bench &bench) { bench.event(StreamEvent::openCompleted, 1); }));
        QVERIFY(dies([](Bench &bench) {
            bench.probe->beginAttempt();
            bench.now -= 1;
            bench.event(StreamEvent::errorOccurred, 0);
        }));
        const auto withFactor = [](TimebaseInfo factor, std::uint64_t elapsed) {
            return dies([factor, elapsed](Bench &bench) {
                bench.factor = factor;
                ProbePlatform platform{[&bench](const QString &, qint64) { return bench.makePair(); },
                                       [&bench] { return bench.now; },
                                       [factor](TimebaseInfo &info) {
                                           info = factor;
                                           return true;
                                       }};
                const auto probe =
                    std::make_shared<PingTest>(u"host"_s, 443, PingTest::Handler(), std::move(platform));
                probe->beginAttempt();
                bench.now += elapsed;
                ScriptedStream stream;
                probe->streamHandleEvent(stream, StreamEvent::openCompleted);
            });
        };
        QVERIFY(withFactor({1, 0}, 1));
        QVERIFY(withFactor({2, 1}, std::numeric_limits<std::uint64_t>::max() / 2 + 1));
        QVERIFY(!withFactor({2, 1}, std::numeric_limits<std::uint64_t>::max() / 4));
    }

    void withoutStreamsNothingFollows()
    {
        OutputCapture output;
        Bench bench;
        bench.streamsExist = false;
        bench.probe->beginAttempt();
        QCOMPARE(output.lines(), QStringList{u"log input or output stream not set"_s});
        QVERIFY(bench.probe->samples().isEmpty());
        QCOMPARE(bench.pairs, 1);
        for (const qint64 port : {-1, 0, 65536})
            QVERIFY(!streamsToHost(u"127.0.0.1"_s, port).input);
    }

    void realHosts_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<bool>("listening");
        QTest::newRow("accepts") << u"127.0.0.1"_s << true;
        QTest::newRow("accepts, by name") << u"localhost"_s << true;
        QTest::newRow("refuses") << u"127.0.0.1"_s << false;
        QTest::newRow("refuses on IPv6") << u"::1"_s << false;
        QTest::newRow("cannot be resolved") << u"no-such-host.invalid"_s << false;
        QTest::newRow("empty") << QString() << false;
        QTest::newRow("no host name at all") << u"a b\nc"_s << false;
    }

    void realHosts()
    {
        QFETCH(QString, address);
        QFETCH(bool, listening);
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost));
        const quint16 port = server.serverPort();
        if (!listening)
            server.close();
        std::optional<PingTest::Summary> result;
        std::shared_ptr<PingTest> probe =
            std::make_shared<PingTest>(address, port, [&](const PingTest::Summary &summary) {
                result = summary;
                // As the survey does: the result lets go of its probe.
                probe.reset();
            });
        probe->beginAttempt();
        QVERIFY2(!result, "the result must come from the event loop");
        QTRY_VERIFY_WITH_TIMEOUT(result, 20000);
        QVERIFY(result->min > 0 && result->min <= result->max);
    }

    void aDroppedProbeIsNotCalledBack()
    {
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost));
        bool called = false;
        for (const QString &address : {u"127.0.0.1"_s, u"no-such-host.invalid"_s}) {
            const auto probe = std::make_shared<PingTest>(
                address, server.serverPort(), [&called](const PingTest::Summary &) { called = true; });
            probe->beginAttempt();
        }
        // A probe that is begun later has ended: so would have the dropped ones.
        bool ended = false;
        const auto later = std::make_shared<PingTest>(u"127.0.0.1"_s, server.serverPort(),
                                                      [&ended](const PingTest::Summary &) { ended = true; });
        later->beginAttempt();
        QTRY_VERIFY(ended);
        QVERIFY(!called);
    }
};

QTEST_GUILESS_MAIN(PingTestTest)
#include "PingTestTest.moc"
