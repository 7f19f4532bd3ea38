#include "api/NetworkManager.h"
#include "api/ServiceManager.h"
#include "tests/support/Bodies.h"
#include "tests/support/HomeFixture.h"
#include "ui/Window.h"

#include <QElapsedTimer>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>

#include <sys/resource.h>

using namespace velmora;
using namespace velmora::testing;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

using Answer = std::function<void(QTcpSocket *)>;

namespace {

constexpr qint64 mebibyte = 1024 * 1024;
#ifdef __SANITIZE_ADDRESS__
// The sanitizer keeps what is freed for a while.
constexpr qint64 memoryBound = 4096 * mebibyte;
#else
// A reply takes at most 512 MiB of the client; the rest is for what sends it.
constexpr qint64 memoryBound = (512 + 128) * mebibyte;
#endif

/// Writes `piece` again and again, never more than the peer takes, until it hangs up.
Answer endless(const QByteArray &head, const QByteArray &piece)
{
    return [head, piece](QTcpSocket *socket) {
        const auto writeOn = [socket, piece] {
            while (socket->state() == QAbstractSocket::ConnectedState &&
                   socket->bytesToWrite() < mebibyte / 4)
                socket->write(piece);
        };
        QObject::connect(socket, &QTcpSocket::bytesWritten, socket, writeOn, Qt::QueuedConnection);
        socket->write(head);
        writeOn();
    };
}

QByteArray named(const QByteArray &name)
{
    return "{\"name\":\"" + name + "\",\"country\":\"DE\"}";
}

QByteArray listOf(int count, const QByteArray &element)
{
    return "{\"endpoints\":[" + (element + ",").repeated(count - 1) + element + "]}";
}

} // namespace

class HostileServiceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void endpointReplies_data()
    {
        QTest::addColumn<Answer>("answer");
        QTest::addColumn<int>("rows");
        const QByteArray ok = "HTTP/1.1 200 OK\r\n";
        const QByteArray blanks = gzipped(QByteArray(mebibyte, ' '), 1024);
        const auto sent = [](const QByteArray &head, const QByteArray &body) {
            return [reply = head + "\r\n" + body](QTcpSocket *socket) {
                socket->write(reply);
                socket->disconnectFromHost();
            };
        };
        const auto row = [](const char *name, const Answer &answer, int rows = 1) {
            QTest::newRow(name) << answer << rows;
        };
        row("endless list", endless(ok + "\r\n{\"endpoints\":[", (named("n") + ',').repeated(1000)));
        row("endless headers", endless(ok, QByteArray("X-Many: 1\r\n").repeated(1000)));
        row("packed blanks that ask for a password",
            sent("HTTP/1.1 401 X\r\nContent-Encoding: gzip\r\n", blanks));
        row("a piece of 2^60 announced",
            sent(ok + "Transfer-Encoding: chunked\r\n", "1000000000000000\r\n{"));
        // The worst for the memory that decoding takes: objects at each level, lists without end.
        row("nested objects", sent(ok, listOf(800000, "{\"\":{\"\":{\"\":{}}}}")));
        row("short texts", sent(ok, listOf(5500000, "\"\"")));
        row("open lists", sent(ok, QByteArray(16 * mebibyte, '[')));
        row("half a million short endpoints", sent(ok, listOf(500000, named("n"))), 500000);
        row("the longest names", sent(ok, listOf(3, named(QByteArray(5 * mebibyte, 'W')))), 3);
        const QByteArray odd =
            "<img src='/'>\\u0000\\u202e\\n\\uffff" + QByteArray("e\\u0301").repeated(5000);
        row("texts that no row can show as they are", sent(ok, listOf(2, named(odd))), 2);
    }

    void endpointReplies()
    {
        QFETCH(Answer, answer);
        QFETCH(int, rows);
        HomeFixture home;
        ServiceManager &store = ServiceManager::shared();
        store.allService = store.countryService = {Service{1, u"old"_s, u"DE"_s, {}, {}}};
        home.server.answerBy(answer);
        home.server.answer(json("{'favorites':[]}"));
        home.window = Window::windowWithContentViewController(home.screen);
        home.window->show();
        QElapsedTimer sinceLast;
        qint64 longestPauseMilliseconds = 0;
        QTimer pulse;
        pulse.callOnTimeout(
            [&] { longestPauseMilliseconds = std::max(longestPauseMilliseconds, sinceLast.restart()); });
        sinceLast.start();
        pulse.start(1ms);
        QTRY_VERIFY_WITH_TIMEOUT(home.isAtRest(), 60000);
        QCOMPARE(store.allService.size(), rows);
        auto *countries = home.control<CountryTV>(u"countries"_s);
        QTRY_COMPARE(countries->rowCount(), rows);
        countries->repaint();
        QVERIFY2(longestPauseMilliseconds < 8000, "the window did not answer");
        rusage used{};
        ::getrusage(RUSAGE_SELF, &used);
        QVERIFY2(used.ru_maxrss * 1024 < memoryBound, "memory");
    }

    void whatNeverEndsHoldsUpNothing()
    {
        HomeFixture home;
        home.server.answerBy(endless({}, QByteArray("HTTP/1.1 103 Early\r\n\r\n").repeated(10)));
        home.window = Window::windowWithContentViewController(home.screen);
        home.window->show();
        for (int held = 0; held < 100; ++held) {
            home.server.hold();
            NetworkManager::forOneRequest().getFavorites({});
        }
        QTRY_COMPARE(home.server.requests.size(), 101);
        home.server.answer(json("{'success':true}"));
        bool answered = false;
        NetworkManager::forOneRequest().addFavorite(1, [&answered](const auto &) { answered = true; });
        QTRY_VERIFY(answered);
    }
};

QTEST_MAIN(HostileServiceTest)
#include "HostileServiceTest.moc"
