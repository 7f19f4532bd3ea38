#include "servers/PingTest.h"
#include "tests/support/DeathTest.h"
#include "tests/support/OutputCapture.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTest>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

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

    /// The minimum, maximum and average of attempts of 10, 20, … 60 ms that end with these events.
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

/// Listens on loopback with a full queue, so that the kernel leaves further connects unanswered. The port is
/// 0 where that address cannot be had.
struct SilentListener
{
    explicit SilentListener(int family, quint16 wanted = 0)
        : listener(::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0)),
          filler(::socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0))
    {
        const bool six = family == AF_INET6;
        sockaddr_storage address{};
        auto *const generic = reinterpret_cast<sockaddr *>(&address);
        socklen_t size = six ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
        address.ss_family = static_cast<sa_family_t>(family);
        // Both kinds of address have the port at the same place.
        in_port_t &place = reinterpret_cast<sockaddr_in *>(&address)->sin_port;
        place = htons(wanted);
        if (six)
            reinterpret_cast<sockaddr_in6 *>(&address)->sin6_addr = in6addr_loopback;
        else
            reinterpret_cast<sockaddr_in *>(&address)->sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::bind(listener, generic, size) != 0 || ::listen(listener, 0) != 0 ||
            ::getsockname(listener, generic, &size) != 0)
            return;
        ::connect(filler, generic, size);
        port = ntohs(place);
    }
    ~SilentListener()
    {
        ::close(filler);
        ::close(listener);
    }
    SilentListener(const SilentListener &) = delete;
    SilentListener &operator=(const SilentListener &) = delete;

    const int listener;
    const int filler;
    quint16 port = 0;
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
        QCOMPARE(bench.probe->summary().min, -1.0);
        QCOMPARE(bench.probe->summary().average, 0.0);
        bench.event(StreamEvent::openCompleted, 100);
        // 100 × 125 / 3 truncates to 4166 ns.
        QCOMPARE(bench.probe->summary().max, 4166.0 / 1000000000.0 * 1000.0);
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
        // The result lets go of its probe, as in the survey.
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
        QStringList results;
        const auto begun = [&](const QString &address) {
            auto probe = std::make_shared<PingTest>(address, server.serverPort(),
                                                    [&](const PingTest::Summary &) { results << address; });
            probe->beginAttempt();
            return probe;
        };
        begun(u"127.0.0.1"_s);
        begun(u"no-such-host.invalid"_s);
        // When a probe that is begun later has ended, the dropped ones would have, too.
        const auto later = begun(u"neither-this-one.invalid"_s);
        QTRY_VERIFY_WITH_TIMEOUT(!results.isEmpty(), 20000);
        QCOMPARE(results, QStringList{u"neither-this-one.invalid"_s});
    }

    void noPairForAPortThatIsNone()
    {
        for (const qint64 port : {-1, 0, 65536})
            QVERIFY(!streamsToHost(u"127.0.0.1"_s, port).input &&
                    !streamsToHost(u"127.0.0.1"_s, port).output);
        QVERIFY(streamsToHost(u"127.0.0.1"_s, 65535).output);
    }

    void aSilentHostIsGivenUpAfterFiveSeconds()
    {
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost));
        const SilentListener halfSilent(AF_INET6, server.serverPort());
        const SilentListener silent(AF_INET);
        const SilentListener allSilent(AF_INET6, silent.port);
        if (halfSilent.port == 0 || allSilent.port == 0)
            QSKIP("no IPv6 here");
        // The name has two addresses, the one of IPv6 first.
        const Connect literal(u"127.0.0.1"_s, silent.port);
        const Connect both(u"localhost"_s, silent.port);
        const Connect second(u"localhost"_s, server.serverPort());
        QTRY_VERIFY_WITH_TIMEOUT(literal.event != 0 && both.event != 0 && second.event != 0, 9000);
        const auto took = [](const Connect &connect, qint64 least, qint64 most) {
            return connect.milliseconds >= least && connect.milliseconds < most;
        };
        QCOMPARE(literal.event, StreamEvent::errorOccurred);
        QVERIFY2(took(literal, 4900, 6000), qPrintable(QString::number(literal.milliseconds)));
        QCOMPARE(both.event, StreamEvent::errorOccurred);
        QVERIFY2(took(both, 4900, 6000), qPrintable(QString::number(both.milliseconds)));
        QCOMPARE(second.event, StreamEvent::openCompleted);
        QVERIFY2(took(second, 0, 4000), qPrintable(QString::number(second.milliseconds)));
    }
};

QTEST_GUILESS_MAIN(PingTestTest)
#include "PingTestTest.moc"
