#include "api/NetworkManager.h"
#include "tests/support/Bodies.h"
#include "tests/support/HomeFixture.h"

#include <QElapsedTimer>
#include <QTcpSocket>

#include <sys/resource.h>

using namespace velmora;
using namespace velmora::testing;
using namespace std::chrono_literals;

namespace {

constexpr qint64 mebibyte = 1024 * 1024;
const QByteArray ok = "HTTP/1.1 200 OK\r\n";
const QByteArray listStart = ok + "\r\n{\"endpoints\":[";

/// The next answer is `start` and then, until the peer hangs up, `piece` again and again, never more than it
/// takes.
void answer(ScriptedServer &server, const QByteArray &start, const QByteArray &piece)
{
    server.answerBy([start, piece](QTcpSocket *socket) {
        const auto writeOn = [socket, piece] {
            if (socket->bytesToWrite() < mebibyte / 4)
                socket->write(piece);
        };
        socket->write(start + piece);
        if (piece.isEmpty())
            socket->disconnectFromHost();
        else
            QObject::connect(socket, &QTcpSocket::bytesWritten, socket, writeOn, Qt::QueuedConnection);
    });
}

QByteArray listOf(int count, const QByteArray &name)
{
    const QByteArray element = "{\"name\":\"" + name + "\",\"country\":\"DE\"}";
    return listStart + (element + ',').repeated(count - 1) + element + "]}";
}

} // namespace

class HostileServiceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void endpointReplies()
    {
        const QByteArray blanks = gzipped(QByteArray(mebibyte, ' '), 1024);
        const QByteArray odd = QByteArray("We\\u0301<img src='/'>\\u202e\\n").repeated(170000);
        // The start of the reply, the piece that has no end, and how many rows there are then.
        const std::tuple<const char *, QByteArray, QByteArray, int> replies[] = {
            {"endless list", listStart, json("{'name':'n','country':'DE'},").repeated(1000), 1},
            {"endless headers", ok, QByteArray("X-Many: 1\r\n").repeated(1000), 1},
            {"packed blanks", "HTTP/1.1 401 X\r\nContent-Encoding: gzip\r\n\r\n" + blanks, {}, 1},
            {"a huge piece", ok + "Transfer-Encoding: chunked\r\n\r\n1000000000000000\r\n{", {}, 1},
            // The worst for the memory that decoding takes: objects at each level, lists without end.
            {"nested objects", listStart + json("{'':{'':{'':{}}}},").repeated(800000) + "{}]}", {}, 1},
            {"open lists", ok + "\r\n" + QByteArray(16 * mebibyte, '['), {}, 1},
            {"half a million endpoints", listOf(500000, "n"), {}, 500000},
            {"long names", listOf(3, odd), {}, 3},
        };
        for (const auto &[name, start, piece, rows] : replies) {
            HomeFixture home;
            home.all = ServiceManager::shared().countryService = {Service{1, u"old"_s, u"DE"_s, {}, {}}};
            answer(home.server, start, piece);
            home.server.answer(json("{'favorites':[]}"));
            home.show();
            QElapsedTimer sinceLast;
            qint64 longestPauseMilliseconds = 0;
            QTimer pulse;
            pulse.callOnTimeout(
                [&] { longestPauseMilliseconds = std::max(longestPauseMilliseconds, sinceLast.restart()); });
            sinceLast.start();
            pulse.start(1ms);
            QTRY_VERIFY2_WITH_TIMEOUT(home.isAtRest(), name, 60000);
            QVERIFY2(home.all.size() == rows && home.countries()->rowCount() == rows, name);
            home.countries()->repaint();
            QVERIFY2(longestPauseMilliseconds < 8000, name);
#ifndef __SANITIZE_ADDRESS__
            // A reply takes at most 512 MiB of the client; the rest is for what sends it.
            rusage used{};
            ::getrusage(RUSAGE_SELF, &used);
            QVERIFY2(used.ru_maxrss < (512 + 128) * 1024, name);
#endif
        }
    }

    void whatNeverEndsHoldsUpNothing()
    {
        HomeFixture home;
        answer(home.server, {}, QByteArray("HTTP/1.1 103 Early\r\n\r\n").repeated(10));
        home.show();
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
