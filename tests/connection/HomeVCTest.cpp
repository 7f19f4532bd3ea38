#include "api/ServiceManager.h"
#include "tests/support/BrowserSpy.h"
#include "tests/support/HomeFixture.h"
#include "ui/Window.h"

#include <QAbstractButton>
#include <QTest>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

const QByteArray three = "[{\"id\":2,\"name\":\"beta\",\"country\":\"DE\"},{\"id\":1,\"name\":\"Alpha\","
                         "\"country\":\"DE\"},{\"name\":\"alpha\",\"country\":\"DE\"}]";

QStringList names(const QList<Service> &services)
{
    QStringList list;
    for (const Service &service : services)
        list.append(service.name);
    return list;
}

} // namespace

class HomeVCTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void favouritesSplitTheList_data()
    {
        QTest::addColumn<QByteArray>("favorites");
        QTest::addColumn<QList<qint64>>("ids");
        QTest::addColumn<QStringList>("others");
        QTest::newRow("none") << QByteArray("[]") << QList<qint64>{}
                              << QStringList{u"Alpha"_s, u"alpha"_s, u"beta"_s};
        QTest::newRow("repeated") << QByteArray("[2,2,1]") << QList<qint64>{1, 2} << QStringList{u"alpha"_s};
        QTest::newRow("without endpoint")
            << QByteArray("[9,1]") << QList<qint64>{1, 9} << QStringList{u"alpha"_s, u"beta"_s};
        QTest::newRow("zero hides what has no id")
            << QByteArray("[0]") << QList<qint64>{0} << QStringList{u"Alpha"_s, u"beta"_s};
    }

    void favouritesSplitTheList()
    {
        QFETCH(QByteArray, favorites);
        HomeFixture home;
        home.load(three, favorites);
        const ServiceManager &store = ServiceManager::shared();
        QCOMPARE(names(store.allService), (QStringList{u"Alpha"_s, u"alpha"_s, u"beta"_s}));
        QTEST(store.favService, "ids");
        QTEST(names(store.countryService), "others");
        QCOMPARE(home.control<CountryTV>(u"countries"_s)->rowCount(), store.countryService.size());
        QCOMPARE(home.control<FavoriteTV>(u"favorites"_s)->rowCount(), store.favService.size());
    }

    void theListsOnScreenWaitForTheFavourites()
    {
        HomeFixture home;
        home.load(three, "[1]");
        home.server.answer("{\"endpoints\":[{\"id\":5,\"name\":\"new\",\"country\":\"DE\"}]}");
        home.server.hold();
        home.screen->servicesReply(QList<Service>{Service{5, u"new"_s, u"DE"_s, {}, {}}});
        const ServiceManager &store = ServiceManager::shared();
        QCOMPARE(names(store.countryService), QStringList{u"new"_s});
        QCOMPARE(store.favService, QList<qint64>{1});
    }

    void aReplyThatTellsNothingChangesNothing_data()
    {
        QTest::addColumn<QByteArray>("endpoints");
        QTest::addColumn<QByteArray>("favorites");
        QTest::addColumn<int>("requests");
        QTest::addColumn<int>("all");
        QTest::newRow("no endpoints key") << QByteArray("{\"services\":[]}") << QByteArray("{}") << 1 << 1;
        QTest::newRow("endpoints not decodable")
            << QByteArray("{\"endpoints\":[{}]}") << QByteArray("{}") << 1 << 1;
        QTest::newRow("no favourites key") << QByteArray("{\"endpoints\":[]}") << QByteArray("{}") << 2 << 0;
        QTest::newRow("favourites not decodable")
            << QByteArray("{\"endpoints\":[]}") << QByteArray("{\"favorites\":[null]}") << 2 << 0;
    }

    void aReplyThatTellsNothingChangesNothing()
    {
        QFETCH(QByteArray, endpoints);
        QFETCH(QByteArray, favorites);
        QFETCH(int, requests);
        QFETCH(int, all);
        HomeFixture home;
        ServiceManager &store = ServiceManager::shared();
        store.allService = store.countryService = {Service{1, u"old"_s, u"DE"_s, {}, {}}};
        store.favService = {4};
        home.server.answer(endpoints);
        home.server.answer(favorites);
        home.loadWithoutService();
        QCOMPARE(home.server.requests.size(), requests);
        QCOMPARE(store.allService.size(), all);
        QCOMPARE(store.countryService.size(), all);
        QCOMPARE(store.favService, QList<qint64>{4});
    }

    void oneListHasTheSelection()
    {
        HomeFixture home;
        home.load(three, "[1]");
        auto *countries = home.control<CountryTV>(u"countries"_s);
        auto *favorites = home.control<FavoriteTV>(u"favorites"_s);
        countries->selectRow(1);
        QCOMPARE(home.screen->chosenEndpoint(), 2);
        favorites->selectRow(0);
        QCOMPARE(home.screen->chosenEndpoint(), 1);
        QCOMPARE(countries->selectedRow(), -1);
        countries->selectRow(0);
        QCOMPARE(home.screen->chosenEndpoint(), 0);
        QCOMPARE(favorites->selectedRow(), -1);
        countries->deselectAll();
        QCOMPARE(home.screen->chosenEndpoint(), -1);
        home.newLines();
        home.screen->selectedEndpointChanged(3, nullptr);
        QCOMPARE(home.newLines(), QStringList{u"log selectedEndpointChanged: unknown tableView"_s});
        QCOMPARE(home.screen->chosenEndpoint(), 3);
    }

    void theChoiceFollowsItsEndpointAcrossReloads()
    {
        HomeFixture home;
        home.load(three, "[]");
        auto *countries = home.control<CountryTV>(u"countries"_s);
        auto *favorites = home.control<FavoriteTV>(u"favorites"_s);
        countries->selectRow(2);
        QCOMPARE(home.screen->chosenEndpoint(), 2);
        const auto reload = [&home](const QList<Service> &services, const QByteArray &favoriteIds) {
            const auto before = home.server.requests.size();
            home.server.answer("{\"favorites\":" + favoriteIds + "}");
            home.screen->servicesReply(services);
            QTRY_VERIFY(home.server.requests.size() > before && home.isAtRest());
        };
        const QList<Service> all = ServiceManager::shared().allService;
        reload(all, "[2]");
        QCOMPARE(home.screen->chosenEndpoint(), 2);
        QCOMPARE(favorites->selectedRow(), 0);
        QCOMPARE(countries->selectedRow(), -1);
        reload(all, "[1]");
        QCOMPARE(countries->selectedRow(), 1);
        QCOMPARE(favorites->selectedRow(), -1);
        reload(all.first(1), "[]");
        QCOMPARE(home.screen->chosenEndpoint(), -1);
        QCOMPARE(countries->selectedRow(), -1);
    }

    void noticesShowAndHide()
    {
        HomeFixture home;
        home.loadWithoutService();
        auto *update = home.control<QWidget>(u"updateModal"_s);
        auto *install = home.control<QWidget>(u"installModal"_s);
        const auto shown = [&] {
            return std::pair(update->isVisible(), install->isVisible());
        };
        QCOMPARE(shown(), std::pair(false, false));
        home.screen->closeButtonClicked();
        QCOMPARE(shown(), std::pair(false, false));
        home.control<QAbstractButton>(u"button1"_s)->click();
        QCOMPARE(shown(), std::pair(true, false));
        home.screen->updateButtonClicked();
        QCOMPARE(shown(), std::pair(false, true));
        home.screen->button1Clicked();
        QCOMPARE(shown(), std::pair(true, true));
        home.screen->closeButtonClicked();
        QCOMPARE(shown(), std::pair(false, false));
        HomeScreen::current()->showInstallModal();
        QCOMPARE(shown(), std::pair(false, true));
    }

    void helpOpensTheSupportPage()
    {
        BrowserSpy browser;
        HomeFixture home;
        home.loadWithoutService();
        home.control<QAbstractButton>(u"helpButton"_s)->click();
        QCOMPARE(browser.opened, QList<QUrl>{QUrl(u"https://www.velmora.test/support"_s)});
    }

    void theScreenThatLoadedLastIsTheCurrentOne()
    {
        HomeFixture first;
        first.loadWithoutService();
        QCOMPARE(HomeScreen::current().get(), first.screen.get());
        const auto second = Screen::make<HomeVC>();
        QCOMPARE(HomeScreen::current().get(), first.screen.get());
        second->loadedView();
        QCOMPARE(HomeScreen::current().get(), second.get());
        QTRY_COMPARE(second.use_count(), 2);
    }
};

QTEST_MAIN(HomeVCTest)
#include "HomeVCTest.moc"
