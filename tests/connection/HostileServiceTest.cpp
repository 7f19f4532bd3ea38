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

using Answer = std::function<void(ScriptedServer &)>;
Q_DECLARE_METATYPE(Answer)

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
std::function<void(QTcpSocket *)> endless(const QByteArray &head, const QByteArray &piece)
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

/// Writes one byte at a time.
std::function<void(QTcpSocket *)> dripping(const QByteArray &reply)
{
    return [reply](QTcpSocket *socket) {
        auto *timer = new QTimer(socket);
        QObject::connect(timer, &QTimer::timeout, socket, [socket, reply, sent = 0]() mutable {
            socket->write(reply.mid(sent++, 1));
            if (sent == reply.size())
                socket->disconnectFromHost();
        });
        timer->start(1ms);
    };
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
        const auto row = [](const char *name, int rows, const Answer &answer) {
            QTest::newRow(name) << answer << rows;
        };
        const QByteArray ok = "HTTP/1.1 200 OK\r\n";
        const QByteArray element = "{\"name\":\"n\",\"country\":\"DE\"}";
        row("endless list", 1, [=](ScriptedServer &server) {
            server.answerBy(endless(ok + "\r\n{\"endpoints\":[", (element + ",").repeated(1000)));
        });
        row("packed blanks", 1, [=](ScriptedServer &server) {
            server.answer(gzipped(QByteArray(mebibyte, ' '), 128), 200, "Content-Encoding: gzip\r\n");
        });
        row("packed blanks that ask for a password", 1, [=](ScriptedServer &server) {
            server.answer(gzipped(QByteArray(mebibyte, ' '), 1024), 401, "Content-Encoding: gzip\r\n");
        });
        row("a gigabyte announced", 1, [=](ScriptedServer &server) {
            server.answerRaw(ok + "Content-Length: 1073741824\r\n\r\n{\"endpoints\":[]");
        });
        row("a piece of 2^60 announced", 1, [=](ScriptedServer &server) {
            server.answerRaw(ok + "Transfer-Encoding: chunked\r\n\r\n1000000000000000\r\n{");
        });
        row("endless headers", 1, [=](ScriptedServer &server) {
            server.answerBy(endless(ok, QByteArray("X-Many: 1\r\n").repeated(1000)));
        });
        // The worst for the memory that decoding takes: objects at each level, lists without end.
        row("nested objects", 1,
            [=](ScriptedServer &server) { server.answer(listOf(800000, "{\"\":{\"\":{\"\":{}}}}")); });
        row("short texts", 1, [=](ScriptedServer &server) { server.answer(listOf(5500000, "\"\"")); });
        row("open lists", 1, [=](ScriptedServer &server) { server.answer(QByteArray(16 * mebibyte, '[')); });
        row("byte by byte", 2,
            [=](ScriptedServer &server) { server.answerBy(dripping(ok + "\r\n" + listOf(2, element))); });
        row("half a million short endpoints", 500000,
            [=](ScriptedServer &server) { server.answer(listOf(500000, element)); });
        row("a name as long as the bound allows", 3, [=](ScriptedServer &server) {
            server.answer(
                listOf(3, QByteArray(element).replace("\"n\"", '"' + QByteArray(5 * mebibyte, 'W') + '"')));
        });
        row("texts that no row can show as they are", 2, [=](ScriptedServer &server) {
            const QByteArray name =
                "\"<img src='/'>\\u0000\\u202e\\n\\uffff" + QByteArray("e\\u0301").repeated(5000) + '"';
            server.answer(listOf(2, QByteArray(element).replace("\"n\"", name)));
        });
    }

    void endpointReplies()
    {
        QFETCH(Answer, answer);
        QFETCH(int, rows);
        HomeFixture home;
        ServiceManager &store = ServiceManager::shared();
        store.allService = store.countryService = {Service{1, u"old"_s, u"DE"_s, {}, {}}};
        answer(home.server);
        home.server.answer(json("{'favorites':[]}"));
        home.window = Window::windowWithContentViewController(home.screen);
        home.window->show();
        QElapsedTimer sinceLast;
        qint64 longestPauseMilliseconds = 0;
        QTimer pulse;
        connect(&pulse, &QTimer::timeout, &pulse,
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
