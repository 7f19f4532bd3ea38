#include "api/ServiceManager.h"
#include "tests/support/DeathTest.h"
#include "tests/support/HomeFixture.h"
#include "tests/support/StubScreen.h"
#include "ui/TableView.h"
#include "ui/Window.h"

#include <QAbstractButton>
#include <QElapsedTimer>
#include <QLabel>
#include <QScrollBar>
#include <QTest>
#include <QToolTip>

#include <sys/resource.h>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

QList<Service> &all()
{
    return ServiceManager::shared().allService;
}

qsizetype measured()
{
    return std::count_if(all().cbegin(), all().cend(), [](const Service &service) { return service.ping; });
}

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
        countries()->reloadData();
        newLines();
    }

    CountryTV *countries() const { return control<CountryTV>(u"countries"_s); }
    QAbstractButton *button() const { return control<QAbstractButton>(u"pingButton"_s); }
    /// The texts of the button after a tick of the timer.
    QStringList progress() const
    {
        screen->firePingTimer();
        return {button()->toolTip(), button()->accessibleDescription()};
    }
    QImage picture() const { return button()->grab().toImage(); }
};

} // namespace

class SurveyTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eachEndpointIsMeasuredAndShown()
    {
        const QStringList idle{u"Measure latencies"_s, QString()};
        SurveyFixture home({});
        home.button()->click();
        QCOMPARE(home.progress(), idle);
        // Nothing is there to survey.
        QTRY_VERIFY(home.isAtRest());
        const QImage quiet = home.picture();

        all() = refusing(1, 60);
        all()[1].ping = QList<double>{1, 2, 3};
        const QList<Service> earlier = ServiceManager::shared().countryService = all();
        all()[1].ping.reset();
        home.countries()->reloadData();
        home.button()->click();
        // Has no effect; another step would leave the first endpoint out.
        home.button()->click();
        QCOMPARE(home.progress(), QStringList(2, u"Measuring 1 of 60"_s));
        const QImage begun = home.picture();
        while (measured() < 30)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        QCOMPARE(home.progress(), QStringList(2, u"Measuring 31 of 60"_s));
        QVERIFY(quiet != begun && begun != home.picture() && home.button()->isEnabled());
        QTRY_VERIFY(home.isAtRest());
        QCOMPARE(home.progress(), idle);
        QCOMPARE(home.picture(), quiet);
        QCOMPARE(measured(), 60);
        for (const Service &service : std::as_const(all()))
            QVERIFY(service.ping->at(0) > 0 && service.ping->at(0) <= service.ping->at(1) &&
                    service.ping->at(2) <= service.ping->at(1) && service.ping->size() == 3);
        QCOMPARE(home.countries()->viewAtRow(2)->findChild<QLabel *>(u"pingLabel"_s)->text(),
                 QString::asprintf("%.1f ms", all().at(2).ping->last()));
        QVERIFY2(ServiceManager::shared().countryService.at(1).ping == earlier.at(1).ping &&
                     !ServiceManager::shared().countryService.at(2).ping,
                 "more than one list is written");
        QCOMPARE(home.newLines(), QStringList());
    }

    void theIndexCountsWhenTheListIsReplaced()
    {
        SurveyFixture home(refusing(1, 2));
        home.button()->click();
        all() = refusing(11, 30);
        // The probe that runs has its address already.
        all().first().address.reset();
        // The survey needs no window.
        home.window->setContentViewController(Screen::make<StubScreen>());
        delete std::exchange(home.window, nullptr);
        QTRY_COMPARE(measured(), 20);
        QCOMPARE(all().first().id, 11);
    }

    void brokenListsAreFatal()
    {
        QList<QList<Service>> lists(4, refusing(1, 2));
        lists[1][1].address.reset();
        lists[2][1].id.reset();
        lists[3].clear();
        for (const QList<Service> &list : std::as_const(lists)) {
            const SurveyFixture home(refusing(1, 2));
            // Qt paints with threads, which a forked copy does not have.
            home.window->hide();
            const Death death = runsToItsDeath([&] {
                home.button()->click();
                all() = list;
                QVERIFY(QTest::qWaitFor([&home] { return home.isAtRest(); }));
            });
            QCOMPARE(death.aborted, &list != &lists.constFirst());
        }
    }

    void withoutStreamsTheSurveyIsStuckForGood()
    {
        SurveyFixture home(refusing(1, 2));
        rlimit usual{};
        ::getrlimit(RLIMIT_NOFILE, &usual);
        const rlimit noFurtherFile{0, usual.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &noFurtherFile);
        home.button()->click();
        ::setrlimit(RLIMIT_NOFILE, &usual);
        home.button()->click();
        QElapsedTimer timer;
        timer.start();
        QTRY_COMPARE(home.button()->toolTip(), u"Measuring 1 of 2"_s);
        QVERIFY2(timer.restart() < 1000, "the first tick comes in the slow mode");
        // The tick without a result has slowed the timer down.
        all() += refusing(3, 3);
        QTRY_COMPARE_WITH_TIMEOUT(home.button()->toolTip(), u"Measuring 1 of 3"_s, 8000);
        QVERIFY2(timer.elapsed() > 4000, qPrintable(QString::number(timer.elapsed())));
        QCOMPARE(measured(), 0);
        QCOMPARE(home.newLines(), QStringList{u"log input or output stream not set"_s});
    }

    void aRefreshDisturbsNobody()
    {
        QList<Service> services = refusing(1, 60);
        services[31].name = QString(200, u'W');
        const SurveyFixture home(services);
        CountryTV *const countries = home.countries();
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
        home.button()->click();
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
        home.button()->click();
        all().first().address = u"no-such-host.invalid"_s;
        second->pingButtonClicked();
        QVERIFY(!home.isAtRest());
    }
};

QTEST_MAIN(SurveyTest)
#include "SurveyTest.moc"
