#include "api/ServiceManager.h"
#include "tests/support/BrowserSpy.h"
#include "tests/support/HomeFixture.h"

#include <QAbstractButton>
#include <QTest>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

const QByteArray three = "[{\"id\":2,\"name\":\"beta\",\"country\":\"DE\"},{\"id\":1,\"name\":\"Alpha\","
                         "\"country\":\"DE\"},{\"name\":\"alpha\",\"country\":\"DE\"}]";

} // namespace

class HomeVCTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void favouritesSplitTheList()
    {
        HomeFixture home;
        home.load(three, "[2,9,2,1]");
        ServiceManager &store = ServiceManager::shared();
        const auto *const favorites = home.control<FavoriteTV>(u"favorites"_s);
        const auto *const countries = home.control<CountryTV>(u"countries"_s);
        QStringList order;
        for (const Service &service : std::as_const(store.allService))
            order += service.name;
        QCOMPARE(order.join(u' '), u"Alpha alpha beta"_s);
        QCOMPARE(store.favService, (QList<qint64>{1, 2, 9}));
        QCOMPARE(store.countryService.first().name, u"alpha"_s);
        QCOMPARE(std::pair(favorites->rowCount(), countries->rowCount()), std::pair(3, 1));
        reload(home, store.allService, "[0]");
        QCOMPARE(std::pair(favorites->rowCount(), countries->rowCount()), std::pair(1, 2));
        // Without word of the favourites the lists on screen stay as they are.
        reload(home, store.allService.first(1), "null");
        QCOMPARE(store.countryService.size(), 1);
        QCOMPARE(store.favService, QList<qint64>{0});
        QCOMPARE(std::pair(favorites->rowCount(), countries->rowCount()), std::pair(1, 2));
        home.screen->servicesReply(std::nullopt);
        QCOMPARE(store.allService.size(), 1);
        QVERIFY(home.isAtRest());
    }

    void oneListHasTheSelectionAndKeepsItAcrossReloads()
    {
        HomeFixture home;
        home.load(three, "[1]");
        auto *countries = home.control<CountryTV>(u"countries"_s);
        auto *favorites = home.control<FavoriteTV>(u"favorites"_s);
        const auto chosen = [&] {
            qint64 id = -1;
            home.control<QAbstractButton>(u"connectButton"_s)->click();
            // The request of a chosen endpoint's details shares the screen until it has failed.
            if (!home.isAtRest() && QTest::qWaitFor([&home] { return home.isAtRest(); }))
                id = home.server.requests.takeLast().body.mid(12).split(',').first().toLongLong();
            return QList<qint64>{id, favorites->selectedRow(), countries->selectedRow()};
        };
        countries->selectRow(0);
        QCOMPARE(chosen(), (QList<qint64>{0, -1, 0}));
        countries->deselectAll();
        QCOMPARE(chosen(), (QList<qint64>{-1, -1, -1}));
        favorites->selectRow(0);
        QCOMPARE(chosen(), (QList<qint64>{1, 0, -1}));
        countries->selectRow(1);
        QCOMPARE(chosen(), (QList<qint64>{2, -1, 1}));

        const QList<Service> all = ServiceManager::shared().allService;
        reload(home, all, "[1,2]");
        QCOMPARE(chosen(), (QList<qint64>{2, 1, -1}));
        reload(home, all, "[]");
        QCOMPARE(chosen(), (QList<qint64>{2, -1, 2}));
        reload(home, all.first(1), "[]");
        QCOMPARE(chosen(), (QList<qint64>{-1, -1, -1}));

        home.newLines();
        home.screen->selectedEndpointChanged(3, nullptr);
        QCOMPARE(home.newLines(), QStringList{u"log selectedEndpointChanged: unknown tableView"_s});
        QCOMPARE(chosen().first(), 3);
    }

    void aStarSendsItsRequestAndRefreshes()
    {
        HomeFixture home;
        home.load(three, "[1]");
        const auto pressIn = [&home](const QString &list, const QByteArray &reply) {
            home.server.requests.clear();
            home.server.answer(reply);
            home.control<TableView>(list)->viewAtRow(0)->findChild<IconButton *>()->click();
        };
        // Nothing is fetched after a refusal.
        pressIn(u"favorites"_s, "{\"success\":false}");
        QTRY_VERIFY(home.server.requests.size() == 1 && home.isAtRest());
        QCOMPARE(home.server.requests[0].path, QByteArray("/api/favorite/1"));
        pressIn(u"countries"_s, "{\"success\":true}");
        home.server.answer("{\"endpoints\":[]}");
        home.server.answer("{}");
        QTRY_VERIFY(home.server.requests.size() == 3 && home.isAtRest());
    }

    void aReplyIsShownInEveryWindow()
    {
        HomeFixture home;
        home.load(three, "[1]");
        auto *countries = home.control<CountryTV>(u"countries"_s);
        countries->selectRow(1);
        home.server.answer("{}");
        const auto other = Screen::make<HomeVC>();
        QCOMPARE(HomeScreen::current().get(), home.screen.get());
        other->loadedView();
        QCOMPARE(HomeScreen::current().get(), other.get());
        QTRY_COMPARE(home.server.requests.size(), 3);
        reload(home, ServiceManager::shared().allService, "[1,0]");
        QCOMPARE(countries->rowCount(), 1);
        // The chosen endpoint has moved up.
        QCOMPARE(countries->selectedRow(), 0);
    }

    void theOtherButtons()
    {
        BrowserSpy browser;
        HomeFixture home;
        home.loadWithoutService();
        const auto shownAfter = [&home](const QString &button) {
            home.control<QAbstractButton>(button)->click();
            return std::pair(home.control<QWidget>(u"updateModal"_s)->isVisible(),
                             home.control<QWidget>(u"installModal"_s)->isVisible());
        };
        QCOMPARE(shownAfter(u"button1"_s), std::pair(true, false));
        QCOMPARE(shownAfter(u"updateButton"_s), std::pair(false, true));
        QCOMPARE(shownAfter(u"button1"_s), std::pair(true, true));
        QCOMPARE(shownAfter(u"closeButton"_s), std::pair(false, false));
        QCOMPARE(shownAfter(u"helpButton"_s), std::pair(false, false));
        QCOMPARE(browser.opened, QList<QUrl>{QUrl(u"https://www.velmora.test/support"_s)});
    }

private:
    static void reload(HomeFixture &home, const QList<Service> &services, const QByteArray &favoriteIds)
    {
        const auto before = home.server.requests.size();
        home.server.answer("{\"favorites\":" + favoriteIds + "}");
        home.screen->servicesReply(services);
        QTRY_VERIFY(home.server.requests.size() > before && home.isAtRest());
    }
};

QTEST_MAIN(HomeVCTest)
#include "HomeVCTest.moc"
