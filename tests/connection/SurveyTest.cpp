#include "api/ServiceManager.h"
#include "tests/support/DeathTest.h"
#include "tests/support/HomeFixture.h"
#include "tests/support/StubScreen.h"
#include "ui/TableView.h"
#include "ui/Window.h"

#include <QAbstractButton>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QLabel>
#include <QScrollBar>
#include <QTest>
#include <QToolTip>

#include <sys/resource.h>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// They refuse at once: nothing listens there.
QList<Service> refusing(qint64 firstId, qint64 lastId)
{
    QList<Service> services;
    for (qint64 id = firstId; id <= lastId; ++id)
        services.append({id, u"Location %1"_s.arg(id), u"DE"_s, u"127.0.0.%1"_s.arg(id), {}});
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
    QAbstractButton *button() const { return control<QAbstractButton>(u"pingButton"_s); }
    void press() const { button()->click(); }
    /// Whether the survey ends within some seconds, so that no probe shares the screen. The event loop runs
    /// as the client's own does, which sleeps only while nothing happens; a refusal on loopback takes no
    /// time.
    bool ends() const
    {
        const QDeadlineTimer deadline(5s);
        while (!isAtRest() && !deadline.hasExpired()) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            // A timer that was replaced.
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        }
        return isAtRest();
    }
    static qsizetype measured()
    {
        return std::count_if(all().cbegin(), all().cend(),
                             [](const Service &service) { return service.ping; });
    }
};

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
        QElapsedTimer sincePress;
        sincePress.start();
        home.press();
        QVERIFY2(!home.isAtRest(), "no probe is there");
        // Has no effect; another step would leave the first endpoint out.
        home.press();
        QVERIFY(home.ends());
        QCOMPARE(SurveyFixture::measured(), 3);
        const QList<double> last = *SurveyFixture::all().last().ping;
        QCOMPARE(last.size(), 3);
        QVERIFY(last[0] > 0 && last[0] <= last[1] && last[2] <= last[1]);
        QCOMPARE(ServiceManager::shared().countryService, earlier);
        auto *countries = home.control<CountryTV>(u"countries"_s);
        QTRY_COMPARE(countries->viewAtRow(2)->findChild<QLabel *>(u"pingLabel"_s)->text(),
                     QString::asprintf("%.1f ms", last[2]));
        const qint64 shownAfter = sincePress.elapsed();
        QVERIFY2(shownAfter >= 250 && shownAfter < 2000, qPrintable(QString::number(shownAfter)));
        QCOMPARE(home.newLines(), QStringList());
    }

    void theButtonShowsHowFarTheSurveyIs()
    {
        const SurveyFixture home({});
        home.press();
        QVERIFY2(home.ends(), "nothing is there to survey");
        SurveyFixture::all() = refusing(1, 40);
        const auto shown = [&home] {
            home.screen->firePingTimer();
            return QStringList{home.button()->toolTip(), home.button()->accessibleDescription()};
        };
        const QStringList idle{u"Measure latencies"_s, QString()};
        QCOMPARE(shown(), idle);
        const QImage quiet = home.button()->grab().toImage();
        home.press();
        QCOMPARE(shown(), QStringList(2, u"Measuring 1 of 40"_s));
        const QImage begun = home.button()->grab().toImage();
        while (SurveyFixture::measured() < 30)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        QCOMPARE(shown(), QStringList(2, u"Measuring 31 of 40"_s));
        const QImage later = home.button()->grab().toImage();
        QVERIFY(quiet != begun && begun != later);
        QVERIFY(home.button()->isEnabled());
        QVERIFY(home.ends());
        QCOMPARE(shown(), idle);
        QCOMPARE(home.button()->grab().toImage(), quiet);
    }

    void theIndexCountsWhenTheListIsReplaced()
    {
        const SurveyFixture home(refusing(1, 2));
        home.press();
        SurveyFixture::all() = refusing(11, 13);
        // The probe that runs has its address already.
        SurveyFixture::all().first().address.reset();
        QVERIFY(home.ends());
        QCOMPARE(SurveyFixture::all().first().id, 11);
        QCOMPARE(SurveyFixture::measured(), 3);
    }

    void brokenListsAreFatal_data()
    {
        QTest::addColumn<QList<Service>>("list");
        QList<Service> noAddress = refusing(1, 2);
        noAddress[1].address.reset();
        QList<Service> noId = refusing(1, 2);
        noId[1].id.reset();
        QTest::newRow("nothing") << refusing(1, 2);
        QTest::newRow("no address") << noAddress;
        QTest::newRow("no id") << noId;
        QTest::newRow("shorter than the index") << QList<Service>{};
    }

    void brokenListsAreFatal()
    {
        QFETCH(QList<Service>, list);
        const SurveyFixture home(refusing(1, 2));
        // Qt paints with threads, which a forked copy does not have.
        home.window->hide();
        const Death death = runsToItsDeath([&] {
            home.press();
            SurveyFixture::all() = list;
            home.ends();
        });
        QCOMPARE(death.aborted, list != refusing(1, 2));
    }

    void withoutStreamsTheSurveyIsStuckForGood()
    {
        SurveyFixture home(refusing(1, 2));
        rlimit usual{};
        ::getrlimit(RLIMIT_NOFILE, &usual);
        const rlimit noFurtherFile{0, usual.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &noFurtherFile);
        home.press();
        ::setrlimit(RLIMIT_NOFILE, &usual);
        home.press();
        QTRY_COMPARE(home.button()->toolTip(), u"Measuring 1 of 2"_s);
        // The tick without a result has slowed the timer down.
        SurveyFixture::all() += refusing(3, 3);
        QElapsedTimer sinceTick;
        sinceTick.start();
        QTRY_COMPARE_WITH_TIMEOUT(home.button()->toolTip(), u"Measuring 1 of 3"_s, 8000);
        QVERIFY2(sinceTick.elapsed() > 4000, qPrintable(QString::number(sinceTick.elapsed())));
        QCOMPARE(SurveyFixture::measured(), 0);
        QCOMPARE(home.newLines(), QStringList{u"log input or output stream not set"_s});
    }

    void aSurveyOutlivesItsScreensTimeInTheWindow()
    {
        SurveyFixture home(refusing(1, 20));
        home.press();
        home.window->setContentViewController(Screen::make<StubScreen>());
        delete std::exchange(home.window, nullptr);
        QTRY_COMPARE(SurveyFixture::measured(), 20);
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

        home.press();
        auto *latency = countries->viewAtRow(30)->findChild<QLabel *>(u"pingLabel"_s);
        QTRY_VERIFY(latency->text().endsWith(u" ms"_s));
        QCOMPARE(countries->verticalScrollBar()->value(), scrolled);
        QCOMPARE(countries->selectedRow(), 30);
        QVERIFY(star->hasFocus());
        QVERIFY2(QToolTip::isVisible(), "the tooltip is gone");
        QToolTip::hideText();
    }

    /// The end of this process is the check: one survey connects then, another one resolves a name.
    void cleanupTestCase()
    {
        const SurveyFixture home(refusing(1, 1));
        const auto second = Screen::make<HomeVC>();
        second->loadedView();
        home.press();
        SurveyFixture::all().first().address = u"no-such-host.invalid"_s;
        second->pingButtonClicked();
        QVERIFY(!home.isAtRest());
    }
};

QTEST_MAIN(SurveyTest)
#include "SurveyTest.moc"
