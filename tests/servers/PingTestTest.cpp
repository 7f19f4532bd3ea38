#include "servers/PingTest.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

using namespace velmora;
using namespace Qt::StringLiterals;

namespace {

/// The minimum, maximum and average of attempts of 10, 20, … 60 ms that end with these events. Without an
/// event loop the streams have none of their own.
QList<double> resultOf(const QList<int> &codes)
{
    std::uint64_t now = 1000;
    std::uint64_t step = 0;
    const auto probe = std::make_shared<PingTest>(
        u"127.0.0.1"_s, 443, [](const auto &) {}, ProbePlatform{streamsToHost, [&now] {
                                                                    return now;
                                                                }});
    const auto stream = streamsToHost(u"127.0.0.1"_s, 443).input;
    probe->beginAttempt();
    for (const int last : codes) {
        now += step += 10'000'000;
        for (const int code : {StreamEvent::hasBytesAvailable, StreamEvent::hasSpaceAvailable, last})
            probe->streamHandleEvent(*stream, code);
    }
    const PingTest::Summary result = probe->summary();
    return {result.min, result.max, result.average};
}

} // namespace

class PingTestTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void summaryRule()
    {
        QCOMPARE(resultOf({8, 1, 16, 1, 8, 16}), (QList<double>{20, 60, 200.0 / 6}));
        QCOMPARE(resultOf({1, 1, 1, 32, 1, 1}), (QList<double>{50, 60, 159.0 / 6}));
        QCOMPARE(resultOf({1, 1, 1, 1, 1, 3}), (QList<double>{-1, 50, 139.0 / 6}));
    }

    void realHosts()
    {
        for (const auto &[address, accepted] :
             {std::pair(u"localhost"_s, 6), std::pair(u"::1"_s, 6), std::pair(u"255.255.255.255"_s, 0),
              std::pair(u"a b\nc"_s, 0)}) {
            QTcpServer server;
            QVERIFY(server.listen(QHostAddress(address == u"::1"_s ? address : u"127.0.0.1"_s)));
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
    }

    void aSilentHostIsGivenUpAfterFiveSeconds()
    {
        // A full queue: the kernel leaves further connects unanswered.
        QTcpServer server;
        server.setListenBacklogSize(0);
        QVERIFY(server.listen());
        server.pauseAccepting();
        QTcpSocket filler;
        filler.connectToHost(QHostAddress::LocalHost, server.serverPort());
        QTRY_COMPARE(filler.state(), QAbstractSocket::ConnectedState);
        QElapsedTimer timer;
        QList<qint64> begun;
        const auto streams = [&](const QString &host, qint64 port) {
            begun.append(timer.elapsed());
            return streamsToHost(host, port);
        };
        // The name has two addresses.
        const auto probe =
            std::make_shared<PingTest>(u"localhost"_s, server.serverPort(), nullptr, ProbePlatform{streams});
        timer.start();
        probe->beginAttempt();
        QTRY_COMPARE_WITH_TIMEOUT(begun.size(), 2, 9000);
        QVERIFY2(begun[1] >= 4900 && begun[1] < 6000, qPrintable(QString::number(begun[1])));
    }
};

QTEST_GUILESS_MAIN(PingTestTest)
#include "PingTestTest.moc"
