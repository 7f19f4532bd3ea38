#include "servers/PingTest.h"
#include "tests/support/DeathTest.h"
#include "tests/support/OutputCapture.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <limits>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

/// A probe whose events and clock are set by hand: without an event loop its streams have none.
struct Bench
{
    explicit Bench(TimebaseInfo factor = {1, 1})
        : probe(std::make_shared<PingTest>(
              u"127.0.0.1"_s, 443,
              [this](const PingTest::Summary &summary) {
                  result = {summary.min, summary.max, summary.average};
              },
              ProbePlatform{streamsToHost, [this] { return now; },
                            [factor](TimebaseInfo &info) {
                                info = factor;
                                return true;
                            }}))
    {
    }

    /// The minimum, maximum and average of attempts of 10, 20, … 60 ms that end with these events.
    QList<double> resultOf(const QList<int> &codes)
    {
        probe->beginAttempt();
        for (qsizetype attempt = 1; attempt <= codes.size(); ++attempt) {
            now += static_cast<std::uint64_t>(attempt) * 10000000;
            for (const int code :
                 {StreamEvent::hasBytesAvailable, StreamEvent::hasSpaceAvailable, codes[attempt - 1]})
                probe->streamHandleEvent(*stream, code);
        }
        return result;
    }

    std::uint64_t now = 1000;
    QList<double> result;
    std::shared_ptr<Stream> stream = streamsToHost(u"127.0.0.1"_s, 443).input;
    std::shared_ptr<PingTest> probe;
};

/// Listens with a full queue, so that the kernel leaves further connects unanswered.
struct SilentListener
{
    explicit SilentListener(const QHostAddress &address, quint16 port = 0)
    {
        server.setListenBacklogSize(0);
        server.listen(address, port);
        server.pauseAccepting();
        filler.connectToHost(address, server.serverPort());
    }

    QTcpServer server;
    QTcpSocket filler;
};

/// One connect, the event that ends it, and its time.
struct Connect final : StreamDelegate
{
    Connect(const QString &name, quint16 port) : pair(streamsToHost(name, port))
    {
        timer.start();
        pair.input->setDelegate(this);
        pair.input->scheduleInRunLoop();
        pair.input->open();
    }
    void streamHandleEvent(Stream &, int eventCode) override
    {
        event = eventCode;
        milliseconds = timer.elapsed();
    }

    QElapsedTimer timer;
    StreamPair pair;
    int event = 0;
    qint64 milliseconds = 0;
};

} // namespace

class PingTestTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void summaryRule()
    {
        OutputCapture output;
        QCOMPARE(Bench().resultOf({8, 1, 16, 1, 8, 16}), (QList<double>{20, 60, 200.0 / 6}));
        // 20 000 000 × 125 / 3 is cut off at whole nanoseconds.
        QCOMPARE(Bench({125, 3}).resultOf({1, 1, 1, 1, 1, 1})[0], 833333333.0 / 1000000000.0 * 1000.0);
        QCOMPARE(output.lines(), QStringList());
        QCOMPARE(Bench().resultOf({1, 1, 1, 32, 1, 1}), (QList<double>{50, 60, 159.0 / 6}));
        QCOMPARE(Bench().resultOf({1, 1, 1, 1, 1, 3}), (QList<double>{-1, 50, 139.0 / 6}));
        QCOMPARE(Bench().resultOf({0, 0, 0, 0, 0, 0}), (QList<double>{-1, -1, -5.0 / 6}));
        QCOMPARE(output.lines(), QStringList(8, u"log default reached. unknown stream event"_s));
        Bench single;
        QCOMPARE(single.resultOf({StreamEvent::openCompleted}), QList<double>());
        QCOMPARE(single.probe->summary().min, -1.0);
        QCOMPARE(single.probe->summary().average, 0.0);
    }

    void brokenInvariantsAreFatal()
    {
        constexpr auto most = std::numeric_limits<std::uint64_t>::max();
        const auto dies = [](TimebaseInfo factor, std::uint64_t ticks, bool begun = true) {
            return runsToItsDeath([=] {
                       Bench bench(factor);
                       if (begun)
                           bench.probe->beginAttempt();
                       bench.now += ticks;
                       bench.probe->streamHandleEvent(*bench.stream, StreamEvent::errorOccurred);
                   })
                .aborted;
        };
        QVERIFY(runsToItsDeath([] { Bench().probe->summary(); }).aborted);
        QVERIFY(dies({1, 1}, 1, false));
        QVERIFY2(dies({1, 1}, most), "the clock goes back by one");
        QVERIFY(dies({1, 0}, 1));
        QVERIFY(dies({2, 1}, most / 2 + 1));
        QVERIFY(!dies({2, 1}, most / 2 - 1000));
    }

    void realHosts()
    {
        QTcpServer accepting;
        QVERIFY(accepting.listen(QHostAddress::LocalHost));
        for (const QString &dropped : {u"127.0.0.1"_s, u"no-such-host.invalid"_s})
            std::make_shared<PingTest>(dropped, accepting.serverPort(), [](const PingTest::Summary &) {
                QFAIL("a dropped probe is called back");
            })->beginAttempt();
        for (const auto &[address, accepted] :
             {std::pair(u"localhost"_s, 6), std::pair(u"::1"_s, 6), std::pair(u"127.0.0.2"_s, 0),
              std::pair(u"255.255.255.255"_s, 0), std::pair(u"a b\nc"_s, 0)}) {
            QTcpServer server;
            QVERIFY(
                server.listen(address == u"::1"_s ? QHostAddress::LocalHostIPv6 : QHostAddress::LocalHost));
            const QSignalSpy connections(&server, &QTcpServer::newConnection);
            std::optional<PingTest::Summary> result;
            std::shared_ptr<PingTest> probe;
            // The result lets go of its probe, as in the survey.
            const auto ended = [&](const PingTest::Summary &summary) {
                result = summary;
                probe.reset();
            };
            probe = std::make_shared<PingTest>(address, server.serverPort(), ended);
            probe->beginAttempt();
            QVERIFY2(!result, "the result must come from the event loop");
            QTRY_VERIFY2_WITH_TIMEOUT(result, qPrintable(address), 20000);
            QVERIFY(result->min > 0 && result->min <= result->max);
            QTRY_COMPARE(connections.size(), accepted);
        }
        for (const qint64 port : {-1, 0, 65536})
            QVERIFY(!streamsToHost(u"::1"_s, port).input && !streamsToHost(u"::1"_s, port).output);
        QVERIFY(streamsToHost(u"::1"_s, 65535).output);
    }

    void aSilentHostIsGivenUpAfterFiveSeconds()
    {
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost));
        const SilentListener halfSilent(QHostAddress::LocalHostIPv6, server.serverPort());
        const SilentListener silent(QHostAddress::LocalHost);
        const SilentListener allSilent(QHostAddress::LocalHostIPv6, silent.server.serverPort());
        QVERIFY(halfSilent.server.isListening() && allSilent.server.isListening());
        QTRY_COMPARE(allSilent.filler.state(), QAbstractSocket::ConnectedState);
        // The name has two addresses, the one of IPv6 first.
        const Connect literal(u"127.0.0.1"_s, silent.server.serverPort());
        const Connect both(u"localhost"_s, silent.server.serverPort());
        const Connect second(u"localhost"_s, server.serverPort());
        QTRY_VERIFY_WITH_TIMEOUT(literal.event != 0 && both.event != 0 && second.event != 0, 9000);
        for (const Connect *const givenUp : {&literal, &both}) {
            QCOMPARE(givenUp->event, StreamEvent::errorOccurred);
            QVERIFY2(givenUp->milliseconds >= 4900 && givenUp->milliseconds < 6000,
                     qPrintable(QString::number(givenUp->milliseconds)));
        }
        QCOMPARE(second.event, StreamEvent::openCompleted);
        QVERIFY2(second.milliseconds < 4000, qPrintable(QString::number(second.milliseconds)));
    }
};

QTEST_GUILESS_MAIN(PingTestTest)
#include "PingTestTest.moc"
