#include "api/ServiceManager.h"
#include "tests/support/DeathTest.h"
#include "tests/support/HomeFixture.h"
#include "tests/support/StubScreen.h"
#include "ui/TableCellView.h"
#include "ui/Window.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDeadlineTimer>
#include <QLabel>
#include <QProcess>
#include <QScrollBar>
#include <QTest>
#include <QTimer>
#include <QToolTip>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto fast = 300ms;
constexpr auto slow = 5000ms;

/// One that refuses at once: nothing listens there.
Service refusing(qint64 id)
{
    return {id, u"Location %1"_s.arg(id), u"DE"_s, u"127.0.0.%1"_s.arg(1 + id % 200), {}};
}

QList<Service> refusing(qint64 firstId, qint64 lastId)
{
    QList<Service> services;
    for (qint64 id = firstId; id <= lastId; ++id)
        services.append(refusing(id));
    return services;
}

/// A home screen at rest over these endpoints, none of them a favourite.
struct SurveyFixture : HomeFixture
{
    explicit SurveyFixture(const QList<Service> &services)
    {
        loadWithoutService();
        all() = ServiceManager::shared().countryService = services;
        control<CountryTV>(u"countries"_s)->reloadData();
        newLines();
    }

    static QList<Service> &all() { return ServiceManager::shared().allService; }
    void press() const { control<QAbstractButton>(u"pingButton"_s)->click(); }
    /// Whether the survey ends within some seconds. The event loop runs as the client's own does, which
    /// sleeps only while nothing happens; a refusal on loopback takes no time.
    bool ends() const
    {
        const QDeadlineTimer deadline(5s);
        while (screen->isSurveying() && !deadline.hasExpired())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        return !screen->isSurveying();
    }
    static qsizetype measured()
    {
        return std::count_if(all().cbegin(), all().cend(),
                             [](const Service &service) { return service.ping; });
    }
};

/// While it lives, this process gets no further file.
class NoMoreFiles
{
public:
    NoMoreFiles()
    {
        const int next = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        ::close(next);
        ::getrlimit(RLIMIT_NOFILE, &usual);
        const rlimit reached{static_cast<rlim_t>(next), usual.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &reached);
    }
    ~NoMoreFiles() { ::setrlimit(RLIMIT_NOFILE, &usual); }
    NoMoreFiles(const NoMoreFiles &) = delete;
    NoMoreFiles &operator=(const NoMoreFiles &) = delete;

private:
    rlimit usual{};
};

const QString quitArgument = u"--quit-in-mid-survey"_s;

/// A program of its own, which ends while a survey over endpoints at this address runs.
int quitInMidSurvey(const QString &address)
{
    QList<Service> services = refusing(1, 5000);
    for (Service &service : services)
        service.address = address;
    SurveyFixture home(services);
    home.press();
    QTimer::singleShot(20, qApp, &QApplication::quit);
    QApplication::exec();
    // Quitting closes the window, which then deletes itself.
    home.window = nullptr;
    return home.screen->isSurveying() ? 0 : 1;
}

} // namespace

class SurveyTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eachEndpointIsMeasuredAndShown()
    {
        SurveyFixture home(refusing(1, 3));
        SurveyFixture::all()[1].ping = QList<double>{1, 2, 3};
        const QList<Service> earlier = ServiceManager::shared().countryService = SurveyFixture::all();
        home.press();
        QVERIFY(home.screen->isSurveying());
        QCOMPARE(home.screen->refreshInterval(), fast);
        // Has no effect; another step would leave the first endpoint out.
        home.press();
        QVERIFY(home.ends());
        QCOMPARE(SurveyFixture::measured(), 3);
        for (const Service &service : std::as_const(SurveyFixture::all())) {
            QCOMPARE(service.ping->size(), 3);
            QVERIFY(service.ping->at(0) > 0 && service.ping->at(0) <= service.ping->at(1));
            QVERIFY(service.ping->at(2) <= service.ping->at(1));
        }
        QCOMPARE(ServiceManager::shared().countryService, earlier);
        QTRY_VERIFY2(home.isAtRest(), "the last probe is still there");
        auto *countries = home.control<CountryTV>(u"countries"_s);
        const QString text = QString::asprintf("%.1f ms", SurveyFixture::all().at(2).ping->at(2));
        QTRY_COMPARE(countries->viewAtRow(2)->findChild<QLabel *>(u"pingLabel"_s)->text(), text);
        QCOMPARE(home.newLines(), QStringList());
    }

    void theTimerFallsBackOneTickAfterTheLastResult()
    {
        SurveyFixture home(refusing(1, 1));
        QCOMPARE(home.screen->refreshInterval(), slow);
        home.press();
        QVERIFY(home.ends());
        QCOMPARE(home.screen->refreshTick(), 1);
        QTRY_COMPARE(home.screen->refreshTick(), 2);
        QCOMPARE(home.screen->refreshInterval(), fast);
        QTRY_COMPARE(home.screen->refreshInterval(), slow);
        QCOMPARE(home.screen->refreshTick(), 2);
    }

    void ticksCountRoundFive()
    {
        SurveyFixture home(refusing(1, 1));
        QList<qint64> ticks;
        for (int survey = 0; survey < 6; ++survey) {
            home.press();
            QVERIFY(home.ends());
            home.screen->firePingTimer();
            ticks.append(home.screen->refreshTick());
            home.screen->firePingTimer();
        }
        QCOMPARE(ticks, (QList<qint64>{2, 3, 4, 0, 1, 2}));
    }

    void anEmptyListEndsTheSurveyAtOnce()
    {
        const SurveyFixture home({});
        home.press();
        QVERIFY(!home.screen->isSurveying());
        QCOMPARE(home.screen->refreshInterval(), fast);
        QTRY_COMPARE(home.screen->refreshInterval(), slow);
        QCOMPARE(home.screen->refreshTick(), 1);
    }

    void theIndexCountsWhenTheListIsReplaced()
    {
        const SurveyFixture home(refusing(1, 2));
        home.press();
        Service unreachable = refusing(11);
        unreachable.address.reset();
        // The first one's own address is not looked at any more.
        SurveyFixture::all() = {unreachable, refusing(12), refusing(13)};
        QVERIFY(home.ends());
        QCOMPARE(SurveyFixture::all().first().id, 11);
        QCOMPARE(SurveyFixture::measured(), 3);
    }

    void brokenListsAreFatal_data()
    {
        QTest::addColumn<QList<Service>>("before");
        QTest::addColumn<QList<Service>>("after");
        QTest::addColumn<bool>("fatal");
        const QList<Service> sound = refusing(1, 2);
        QList<Service> noAddress = sound;
        noAddress[1].address.reset();
        QList<Service> noId = sound;
        noId[1].id.reset();
        QTest::newRow("nothing") << sound << sound << false;
        QTest::newRow("no address") << noAddress << noAddress << true;
        QTest::newRow("no address since the survey began") << sound << noAddress << true;
        QTest::newRow("no id") << noId << noId << true;
        QTest::newRow("shorter than the index") << sound << QList<Service>{} << true;
    }

    void brokenListsAreFatal()
    {
        QFETCH(QList<Service>, before);
        QFETCH(QList<Service>, after);
        const SurveyFixture home(before);
        // Qt paints with threads, which a forked copy does not have.
        home.window->hide();
        const Death death = runsToItsDeath([&] {
            home.press();
            SurveyFixture::all() = after;
            home.ends();
        });
        QTEST(death.aborted, "fatal");
    }

    void withoutStreamsTheSurveyIsStuckForGood()
    {
        SurveyFixture home(refusing(1, 2));
        {
            const NoMoreFiles full;
            home.press();
        }
        QCOMPARE(home.newLines(), QStringList{u"log input or output stream not set"_s});
        home.press();
        QTRY_COMPARE(home.screen->refreshInterval(), slow);
        QVERIFY(home.screen->isSurveying());
        QCOMPARE(SurveyFixture::measured(), 0);
        QCOMPARE(home.newLines(), QStringList());
    }

    void aSurveyOutlivesItsScreensTimeInTheWindow_data()
    {
        QTest::addColumn<bool>("windowIsClosed");
        QTest::newRow("another screen") << false;
        QTest::newRow("no window") << true;
    }

    void aSurveyOutlivesItsScreensTimeInTheWindow()
    {
        QFETCH(bool, windowIsClosed);
        SurveyFixture home(refusing(1, 20));
        home.press();
        if (windowIsClosed)
            delete std::exchange(home.window, nullptr);
        else
            home.window->setContentViewController(Screen::make<StubScreen>());
        QVERIFY(home.ends());
        QCOMPARE(SurveyFixture::measured(), 20);
        QTRY_COMPARE(home.screen->refreshTick(), 2);
        QTRY_COMPARE(home.screen->refreshInterval(), slow);
    }

    void aRefreshDisturbsNobody()
    {
        QList<Service> services = refusing(1, 60);
        services[31].name = QString(200, u'W');
        const SurveyFixture home(services);
        auto *countries = home.control<CountryTV>(u"countries"_s);
        QVERIFY(QTest::qWaitForWindowActive(home.window));
        countries->selectRow(30);
        countries->scrollRowToVisible(33);
        const int scrolled = countries->verticalScrollBar()->value();
        QVERIFY(scrolled > 0);
        auto *star = countries->viewAtRow(30)->findChild<QAbstractButton *>(u"starBtn"_s);
        star->setFocus(Qt::TabFocusReason);
        auto *name = countries->viewAtRow(31)->findChild<QLabel *>(u"countryLabel"_s);
        QHelpEvent hover(QEvent::ToolTip, {5, 5}, name->mapToGlobal(QPoint(5, 5)));
        QApplication::sendEvent(name, &hover);
        QVERIFY(QToolTip::isVisible());
        const QList<TableCellView *> views = countries->visibleViews();

        home.press();
        QTRY_COMPARE(home.screen->refreshInterval(), slow);
        QVERIFY(home.screen->refreshTick() > 1);
        auto *latency = countries->viewAtRow(30)->findChild<QLabel *>(u"pingLabel"_s);
        QVERIFY2(latency->text().endsWith(u" ms"_s), "the refresh did not come this far");
        QCOMPARE(countries->visibleViews(), views);
        QCOMPARE(countries->verticalScrollBar()->value(), scrolled);
        QCOMPARE(countries->selectedRow(), 30);
        QCOMPARE(home.screen->chosenEndpoint(), 31);
        QCOMPARE(QApplication::focusWidget(), star);
        QVERIFY2(QToolTip::isVisible(), "the tooltip is gone");
        QToolTip::hideText();
    }

    void quittingInMidSurveyIsClean_data()
    {
        QTest::addColumn<QString>("address");
        QTest::newRow("while it connects") << u"127.0.0.1"_s;
        QTest::newRow("while it resolves a name") << u"no-such-host.invalid"_s;
    }

    void quittingInMidSurveyIsClean()
    {
        QFETCH(QString, address);
        QProcess program;
        program.setProcessChannelMode(QProcess::ForwardedChannels);
        program.start(QApplication::applicationFilePath(), {quitArgument, address});
        QVERIFY(program.waitForFinished(20000));
        QCOMPARE(program.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.exitCode(), 0);
    }
};

int main(int argc, char *argv[])
{
    const QApplication application(argc, argv);
    const QStringList arguments = QApplication::arguments();
    if (arguments.value(1) == quitArgument)
        return quitInMidSurvey(arguments.value(2));
    SurveyTest test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "SurveyTest.moc"
