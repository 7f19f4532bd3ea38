#include "connection/StatusCard.h"
#include "tests/support/Bodies.h"
#include "tests/support/HomeFixture.h"

#include <QLabel>
#include <QScrollBar>

using namespace velmora;
using namespace velmora::testing;

namespace {

const QByteArray endpoints = json("{'endpoints':[{'id':2,'name':'beta','country':'DE'},"
                                  "{'id':1,'name':'Alpha','country':'DE'},{'name':'alpha','country':'DE'}]}");
const QByteArray details = json("{'success':true,'address':'gw.example','configuration':'psk %1',"
                                "'configurationType':'ipsec','password':'vpnpw'}");
/// The whole chain of a press.
const QStringList chain =
    QString(
        u"log connecting|store get token|print response.data: "_s + QString::fromUtf8(details) +
        u"|log connect to gw.example, psk %1|vpn load|log configure VPN preferences|"
        "store set sharedSecret psk %1|log set shared secret|store set password vpnpw|log set vpn password|"
        "store get username|store attributes password|store attributes sharedSecret|"
        "vpn save|vpn load|vpn start"_s)
        .split(u'|');

/// A home screen at rest over three endpoints.
struct ListsFixture : HomeFixture
{
    explicit ListsFixture(const QByteArray &favoriteIds)
    {
        server.answer(endpoints);
        server.answer("{\"favorites\":" + favoriteIds + "}");
        load();
    }
    void reload(const QList<Service> &services, const QByteArray &favoriteIds)
    {
        server.answer("{\"favorites\":" + favoriteIds + "}");
        screen->servicesReply(services);
        QTRY_VERIFY(isAtRest());
    }
    std::pair<int, int> rows() const { return {favorites()->rowCount(), countries()->rowCount()}; }
};

/// A home screen at rest over so many endpoints, none of them a favourite. They refuse at once: nothing
/// listens there.
struct SurveyFixture : HomeFixture
{
    explicit SurveyFixture(qint64 count)
    {
        load();
        for (qint64 id = 1; id <= count; ++id)
            all.append({id, u"Location %1"_s.arg(id), u"DE"_s, u"127.0.0.%1"_s.arg(id), {}});
        ServiceManager::shared().countryService = all;
        countries()->reloadData();
    }

    QAbstractButton *button() const { return control<QAbstractButton>(u"pingButton"_s); }
    /// The texts of the button after a tick of the timer.
    QStringList progress() const
    {
        screen->firePingTimer();
        return {button()->toolTip(), button()->accessibleDescription()};
    }
};

} // namespace

class HomeVCTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void favouritesSplitTheList()
    {
        ListsFixture home("[2,9,2,1]");
        const ServiceManager &store = ServiceManager::shared();
        QCOMPARE(home.all.at(0).name + home.all.at(1).name, u"Alphaalpha"_s);
        QCOMPARE(store.favService, (QList<qint64>{1, 2, 9}));
        QCOMPARE(store.countryService.first().name, u"alpha"_s);
        QCOMPARE(home.rows(), std::pair(3, 1));
        home.reload(home.all, "[0]");
        QCOMPARE(home.rows(), std::pair(1, 2));
        // Without word of the favourites the lists on screen stay as they are.
        home.reload(home.all.first(1), "null");
        QCOMPARE(store.favService, QList<qint64>{0});
        QCOMPARE(home.rows(), std::pair(1, 2));
    }

    void oneListHasTheSelectionAndKeepsItAcrossReloads()
    {
        ListsFixture home("[1]");
        const auto chosen = [&] {
            qint64 id = -1;
            home.click(u"connectButton"_s);
            // The request of a chosen endpoint's details shares the screen until it has failed.
            if (!home.isAtRest() && QTest::qWaitFor([&home] { return home.isAtRest(); }))
                id = home.server.requests.takeLast().body.mid(12).split(',').first().toLongLong();
            return QList<qint64>{id, home.favorites()->selectedRow(), home.countries()->selectedRow()};
        };
        home.countries()->selectRow(0);
        QCOMPARE(chosen(), (QList<qint64>{0, -1, 0}));
        home.favorites()->selectRow(0);
        QCOMPARE(chosen(), (QList<qint64>{1, 0, -1}));
        home.countries()->selectRow(1);
        QCOMPARE(chosen(), (QList<qint64>{2, -1, 1}));

        home.reload(home.all, "[1,2]");
        QCOMPARE(chosen(), (QList<qint64>{2, 1, -1}));
        home.reload(home.all.first(1), "[]");
        QCOMPARE(chosen(), (QList<qint64>{-1, -1, -1}));
    }

    void aStarReachesEveryWindow()
    {
        ListsFixture home("[1]");
        home.countries()->selectRow(1);
        home.server.answer("{}");
        const auto other = Screen::make<HomeVC>();
        other->loadedView();
        QCOMPARE(HomeScreen::current().get(), other.get());
        QTRY_COMPARE(home.server.requests.size(), 3);
        home.server.answer(json("{'success':false}"));
        home.favorites()->viewAtRow(0)->findChild<IconButton *>()->click();
        // Nothing is fetched after a refusal.
        QTRY_COMPARE(home.server.requests.last().path, QByteArray("/api/favorite/1"));
        home.server.answer(json("{'success':true}"));
        home.server.answer(endpoints);
        home.server.answer(json("{'favorites':[1,0]}"));
        home.countries()->viewAtRow(0)->findChild<IconButton *>()->click();
        QTRY_COMPARE(home.rows(), std::pair(2, 1));
        QCOMPARE(home.server.requests.size(), 7);
        // The chosen endpoint has moved up.
        QCOMPARE(home.countries()->selectedRow(), 0);
    }

    void eachFailureEndsTheChainWhereItIs()
    {
        const PlatformError refused{u"dom"_s, 7, u"why"_s};
        const QString why = u"print "_s + refused.description();
        const QStringList second{u"print VPN Preferences error: 2"_s};
        const VPNProtocolIPSec profile{.serverAddress = u"gw.example"_s,
                                       .disconnectOnSleep = false,
                                       .localIdentifier = u"client"_s,
                                       .authenticationMethod = VPNIKEAuthenticationMethod::SharedSecret,
                                       .username = u"ann"_s,
                                       .passwordReference = "ref:password",
                                       .sharedSecretReference = "ref:sharedSecret",
                                       .useExtendedAuthentication = true};
        const std::pair<qsizetype, QStringList> ends[] = {
            {chain.indexOf(u"vpn load"_s), {u"log error, dom / 7"_s}},
            {chain.indexOf(u"vpn save"_s), second},
            {chain.lastIndexOf(u"vpn load"_s), second},
            {chain.size() - 1, {why, u"print VPN Preferences error: 3"_s, why}},
            {chain.size(),
             {u"print VPN Status changed:"_s, u"print Connecting"_s, u"print VPN started successfully.."_s}},
        };
        for (const auto &[failing, said] : ends) {
            HomeFixture home;
            home.load();
            QCOMPARE(home.newLines().last(), u"log Error loading VPN config from preferences: nil"_s);
            for (qsizetype step = 0; step < chain.size(); ++step)
                home.vpn.outcomes[chain[step]] << (step == failing ? std::optional(refused) : std::nullopt);
            home.vpn.currentStatus = VPNStatus::Connecting;
            home.server.answer(details);
            home.screen->selectedEndpointChanged(7, home.countries());
            home.click(u"connectButton"_s);
            QTRY_VERIFY(home.isAtRest());
            QCOMPARE(home.newLines(), chain.first(std::min(failing + 1, chain.size())) + said);
            QCOMPARE(home.vpn.profileEnabled, home.vpn.saved.contains(profile));
            QCOMPARE(home.vpn.profileEnabled, failing > chain.indexOf(u"vpn load"_s));
        }
    }

    void everyStatusHasItsRow()
    {
        using enum VPNStatus;
        // What is printed and logged when a button without a choice is pressed then, and what is shown.
        const std::tuple<VPNStatus, bool, QString> rows[] = {
            {Invalid, false, u"print Invalid|log connecting|Disconnected|Quick Connect|power"_s},
            {Invalid, true, u"print Invalid|log disconnecting|vpn stop|Connected|Disconnect|power1"_s},
            {Disconnected, true, u"print Disconnected|log connecting|Disconnected|Quick Connect|power"_s},
            {Connecting, true, u"print Connecting|log connecting|Connecting|Disconnect|power1"_s},
            {Connected, true, u"print Connected|log disconnecting|vpn stop|Connected|Disconnect|power1"_s},
            {Reasserting, true,
             u"print Reasserting|log connecting|Reasserting Connection|Disconnect|power1"_s},
            {Disconnecting, true, u"print Disconnecting|log connecting|Disconnecting|Disconnect|power1"_s},
        };
        HomeFixture home;
        home.load();
        home.newLines();
        for (const auto &[status, enabled, expected] : rows) {
            home.vpn.profileEnabled = enabled;
            home.vpn.post(status);
            home.click(u"connectButton"_s);
            QStringList seen = home.newLines().sliced(1);
            for (const QString &label : {u"connectStatusText"_s, u"connectText"_s})
                seen += home.control<QLabel>(label)->text();
            seen += home.control<PowerButton>(u"connectButton"_s)->imageName();
            QCOMPARE(seen.join(u'|'), expected);
        }
    }

    void eachEndpointIsMeasuredAndShown()
    {
        SurveyFixture home(60);
        const QImage quiet = home.button()->grab().toImage();
        home.button()->click();
        // Has no effect; another step would leave the first endpoint out.
        home.button()->click();
        QCOMPARE(home.progress(), QStringList(2, u"Measuring 1 of 60"_s));
        while (!home.all.at(29).ping)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        QCOMPARE(home.progress(), QStringList(2, u"Measuring 31 of 60"_s));
        QVERIFY(home.button()->grab().toImage() != quiet);
        QTRY_VERIFY(home.isAtRest());
        QVERIFY2(!ServiceManager::shared().countryService.at(2).ping, "more than one list is written");
        QCOMPARE(home.progress(), (QStringList{u"Measure latencies"_s, QString()}));
        QCOMPARE(home.button()->grab().toImage(), quiet);
        for (const int row : {0, 59})
            QVERIFY(home.countries()->viewAtRow(row)->spokenText().contains(
                QString::asprintf(", %.1f ms,", home.all.at(row).ping->last())));
    }

    void theIndexCountsWhenTheListIsReplaced()
    {
        SurveyFixture home(20);
        home.button()->click();
        std::reverse(home.all.begin(), home.all.end());
        // The probe that runs has its address already.
        home.all.first().address.reset();
        // The survey needs no window.
        home.window.reset();
        QTRY_VERIFY(home.all.last().ping);
        QVERIFY(home.all.first().ping);
    }

    void aRefreshDisturbsNobody()
    {
        const SurveyFixture home(60);
        CountryTV *const countries = home.countries();
        QVERIFY(QTest::qWaitForWindowActive(home.window.get()));
        countries->selectRow(30);
        countries->scrollRowToVisible(33);
        const int scrolled = countries->verticalScrollBar()->value();
        auto *star = countries->viewAtRow(30)->findChild<QAbstractButton *>();
        star->setFocus(Qt::TabFocusReason);
        home.button()->click();
        QTRY_VERIFY_WITH_TIMEOUT(countries->viewAtRow(30)->spokenText().contains(u" ms,"_s), 4000);
        QVERIFY(scrolled > 0 && countries->verticalScrollBar()->value() == scrolled);
        QCOMPARE(countries->selectedRow(), 30);
        QVERIFY(star->hasFocus());
    }
};

QTEST_MAIN(HomeVCTest)
#include "HomeVCTest.moc"
