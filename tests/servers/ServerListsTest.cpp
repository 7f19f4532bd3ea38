#include "servers/CellLayouts.h"
#include "servers/Countries.h"
#include "servers/CountryCellView.h"
#include "servers/CountryTV.h"
#include "servers/FavoriteCellView.h"
#include "servers/FavoriteTV.h"
#include "servers/HomeScreen.h"
#include "servers/RecentCellView.h"
#include "servers/RecentTV.h"
#include "tests/servers/ListSamples.h"
#include "tests/support/DeathTest.h"
#include "tests/support/FakeSecretStore.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/TestConfiguration.h"

#include <QApplication>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

class Paints final : public QObject
{
public:
    bool eventFilter(QObject *, QEvent *event) override
    {
        count += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }
    int count = 0;
};

struct FakeHome final : HomeScreen
{
    static std::shared_ptr<FakeHome> install()
    {
        auto home = std::make_shared<FakeHome>();
        setCurrent(home);
        return home;
    }
    void servicesReply(const std::optional<QList<Service>> &services) override { replies.append(services); }
    void showInstallModal() override {}

    QList<std::optional<QList<Service>>> replies;
};

} // namespace

class ServerListsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        ServiceManager::shared() = {};
        FakeSecretStore::install();
    }

    void aCountryRowShowsTheFirstRecordWithItsId_data();
    void aCountryRowShowsTheFirstRecordWithItsId();
    void aFavoriteRowShowsTheFirstRecordWithItsId();
    void rowsFollowAnotherListOfTheSameLength();
    void aBrokenInvariantIsFatal_data();
    void aBrokenInvariantIsFatal();

    void rowViewsAreFewWhateverTheLength();
    void drawingSettles();

    void aStarSendsItsRequestAndRefreshes_data();
    void aStarSendsItsRequestAndRefreshes();
    void recentPlacesAreFourAndRefuseSelection();
    void everyCountryHasAFlag();
};

void ServerListsTest::aCountryRowShowsTheFirstRecordWithItsId_data()
{
    QTest::addColumn<QList<Service>>("all");
    QTest::addColumn<Service>("entry");
    QTest::addColumn<QStringList>("shown");
    QTest::addColumn<qint64>("tag");

    const QList<double> measured{1, 99, 23.4375};
    QTest::newRow("latency in the store of all endpoints only")
        << QList{endpoint(7, u"Oslo"_s, measured)} << endpoint(7, u"Oslo"_s)
        << QStringList{u"us"_s, u"Oslo"_s, u"23.4 ms"_s} << qint64(7);
    QTest::newRow("no latency yet") << QList{endpoint(7, u"Oslo"_s)} << endpoint(7, u"Oslo"_s, measured)
                                    << QStringList{u"us"_s, u"Oslo"_s, u""_s} << qint64(7);
    QTest::newRow("id twice") << QList{endpoint(7, u"First"_s), endpoint(7, u"Second"_s)}
                              << endpoint(7, u"Second"_s) << QStringList{u"us"_s, u"First"_s, u""_s}
                              << qint64(7);
    QTest::newRow("id unknown") << QList{endpoint(8, u"Other"_s), endpoint({}, u"Without"_s)}
                                << endpoint(7, u"Oslo"_s) << QStringList{u""_s, u""_s, u""_s} << qint64(0);
    QTest::newRow("id absent") << QList{endpoint(0, u"Zero"_s), endpoint({}, u"Without"_s)}
                               << endpoint({}, u"Any"_s) << QStringList{u"us"_s, u"Without"_s, u""_s}
                               << qint64(0);
    QTest::newRow("mark-up and an ampersand in the name")
        << QList{endpoint(7, u"<b>A</b> & B"_s)} << endpoint(7, u""_s)
        << QStringList{u"us"_s, u"<b>A</b> & B"_s, u""_s} << qint64(7);
}

void ServerListsTest::aCountryRowShowsTheFirstRecordWithItsId()
{
    QFETCH(QList<Service>, all);
    QFETCH(Service, entry);
    ServiceManager::shared().allService = all;
    ServiceManager::shared().countryService = {entry};
    CountryTV list;
    list.reloadData();
    const auto *cell = cellAt<CountryCellView>(list, 0);
    QVERIFY(cell);
    const QStringList shown{cell->flagImageView->imageName(), cell->countryLabel->text(),
                            cell->pingLabel->text()};
    QTEST(shown, "shown");
    QTEST(cell->starBtn->tag(), "tag");
}

void ServerListsTest::aFavoriteRowShowsTheFirstRecordWithItsId()
{
    ServiceManager &store = ServiceManager::shared();
    store.allService = {endpoint({}, u"Without"_s), endpoint(3, u"Rome"_s, QList<double>{1, 2, 3})};
    store.favService = {3, 0};
    FavoriteTV list;
    list.reloadData();
    QCOMPARE(list.rowCount(), 2);
    QCOMPARE(cellAt<FavoriteCellView>(list, 0)->countryLabel->text(), u"Rome"_s);
    QCOMPARE(cellAt<FavoriteCellView>(list, 0)->pingLbl->text(), u"3.0 ms"_s);
    QCOMPARE(cellAt<FavoriteCellView>(list, 0)->starBtn->accessibleName(), u"Remove Rome from favourites"_s);
    // A record without id is no favourite, not even of id 0.
    QCOMPARE(cellAt<FavoriteCellView>(list, 1)->countryLabel->text(), QString());
    QCOMPARE(cellAt<FavoriteCellView>(list, 1)->starBtn->tag(), 0);
}

void ServerListsTest::rowsFollowAnotherListOfTheSameLength()
{
    ServiceManager &store = ServiceManager::shared();
    storeMany(3);
    CountryTV list;
    showFilled(list);
    store.allService[1].ping = QList<double>{1, 1, 8.05};
    list.reloadData();
    QCOMPARE(cellAt<CountryCellView>(list, 1)->pingLabel->text(), u"8.1 ms"_s);

    QList<Service> reversed;
    for (const Service &service : std::as_const(store.allService))
        reversed.prepend(service);
    store.allService = reversed;
    store.countryService = reversed;
    list.reloadData();
    QCOMPARE(cellAt<CountryCellView>(list, 0)->countryLabel->text(), u"Place 3"_s);
    QCOMPARE(cellAt<CountryCellView>(list, 0)->starBtn->tag(), 3);

    // Rows are counted when the list is reloaded; an entry that is gone before the next time shows nothing.
    store = {};
    QCOMPARE(list.rowCount(), 3);
    list.resize(list.width(), 30);
    list.resize(list.width(), 210);
    QCOMPARE(cellAt<CountryCellView>(list, 2)->countryLabel->text(), QString());
}

void ServerListsTest::aBrokenInvariantIsFatal_data()
{
    QTest::addColumn<int>("fault");
    QTest::newRow("latency list of two") << 0;
    QTest::newRow("label missing in the layout") << 1;
    QTest::newRow("another kind of row in the layout") << 2;
}

void ServerListsTest::aBrokenInvariantIsFatal()
{
    QFETCH(int, fault);
    storeMany(1);
    CountryTV list;
    list.reloadData();
    const auto breakIt = [&] {
        if (fault == 0)
            ServiceManager::shared().allService[0].ping = QList<double>{1, 2};
        else if (fault == 1)
            delete cellAt<CountryCellView>(list, 0)->pingLabel.get();
        else
            list.registerLayout(cellLayoutNamed(u"recent"_s), list.cellIdentifierName);
        // A longer list needs new row views.
        for (int count = 0; count < 50; ++count)
            ServiceManager::shared().countryService.append(endpoint(1, u"More"_s));
        list.resize(300, 600);
        list.reloadData();
    };
    QVERIFY(runsToItsDeath(breakIt).aborted);
}

void ServerListsTest::rowViewsAreFewWhateverTheLength()
{
    storeMany(100'000);
    CountryTV list;
    showFilled(list);
    const int end = list.verticalScrollBar()->maximum();
    QCOMPARE(end, 100'000 * 35 - list.viewport()->height());
    for (int place = 0; place <= end; place += end / 200) {
        list.verticalScrollBar()->setValue(place);
        const CountryCellView *const top = cellAt<CountryCellView>(list, place / 35);
        QCOMPARE(top->countryLabel->text(), u"Place %1"_s.arg(place / 35 + 1));
        QCOMPARE(top->y(), -(place % 35));
    }
    list.reloadData();
    QVERIFY2(list.viewCount() <= 8, qPrintable(QString::number(list.viewCount())));
}

void ServerListsTest::drawingSettles()
{
    storeMany(5);
    ServiceManager::shared().favService = {1, 2};
    QWidget window;
    Paints paints;
    const QList<TableView *> lists{new CountryTV(&window), new FavoriteTV(&window), new RecentTV(&window)};
    for (TableView *const list : lists) {
        list->viewport()->installEventFilter(&paints);
        list->setGeometry(400 * static_cast<int>(lists.indexOf(list)), 0, 380, 150);
    }
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QTRY_VERIFY(paints.count > 0);
    const auto settle = [&] {
        for (int turn = 0; turn < 20; ++turn)
            QCoreApplication::processEvents();
    };
    settle();
    paints.count = 0;
    for (TableView *const list : lists)
        list->reloadData();
    settle();
    // Nothing has changed, so nothing is drawn again.
    QCOMPARE(paints.count, 0);
    lists.first()->viewport()->update();
    settle();
    QCOMPARE(paints.count, 1);
}

void ServerListsTest::aStarSendsItsRequestAndRefreshes_data()
{
    QTest::addColumn<bool>("isFavorite");
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<bool>("refreshes");
    QTest::newRow("added") << false << QByteArray(R"({"success":true})") << true;
    QTest::newRow("removed") << true << QByteArray(R"({"success":true})") << true;
    QTest::newRow("refused") << false << QByteArray(R"({"success":false})") << false;
    QTest::newRow("without a success flag") << true << QByteArray("{}") << false;
    QTest::newRow("undecodable") << false << QByteArray("no") << false;
}

void ServerListsTest::aStarSendsItsRequestAndRefreshes()
{
    QFETCH(bool, isFavorite);
    QFETCH(QByteArray, reply);
    QFETCH(bool, refreshes);
    ScriptedServer server;
    setApiBaseUrl(server.baseUrl());
    const std::shared_ptr<FakeHome> home = FakeHome::install();
    server.answer(reply);
    server.answer(R"({"endpoints":[{"id":5,"name":"n","country":"US"}]})");
    storeMany(9);
    ServiceManager::shared().favService = {5};

    FavoriteTV favorites;
    CountryTV countries;
    favorites.reloadData();
    countries.reloadData();
    EndpointCellView *const cell = isFavorite ? static_cast<EndpointCellView *>(favorites.viewAtRow(0))
                                              : static_cast<EndpointCellView *>(countries.viewAtRow(4));
    cell->starBtn->click();

    QTRY_COMPARE(server.requests.size(), refreshes ? 2 : 1);
    QCOMPARE(server.requests[0].method, isFavorite ? "DELETE" : "POST");
    QVERIFY(server.requests[0].path.contains("/favorite"));
    QVERIFY(server.requests[0].body.contains('5'));
    // The list reply goes to the screen that was the current one when the star's reply came.
    QTRY_COMPARE(home->replies.size(), refreshes ? 1 : 0);
    if (refreshes)
        QCOMPARE(home->replies[0]->first().id, 5);
}

void ServerListsTest::recentPlacesAreFourAndRefuseSelection()
{
    RecentTV list;
    list.resize(300, 200);
    list.show();
    QVERIFY(QTest::qWaitForWindowExposed(&list));
    QStringList shown;
    for (int row = 0; row < list.rowCount(); ++row) {
        const auto *cell = cellAt<RecentCellView>(list, row);
        QCOMPARE(cell->height(), 36);
        QCOMPARE(cell->flagImageView->imageName(), cell->flag.toLower());
        shown << cell->flag << cell->countryLabel->text();
    }
    QCOMPARE(shown, (QStringList{u"US"_s, u"United States"_s, u"GB"_s, u"United Kingdom"_s, u"CA"_s,
                                 u"Canada"_s, u"FR"_s, u"France"_s}));
    QTest::mousePress(list.viewport(), Qt::LeftButton, {}, {60, 50});
    list.selectRow(1);
    QTest::keyClick(&list, Qt::Key_Down);
    QCOMPARE(list.selectedRow(), -1);
}

void ServerListsTest::everyCountryHasAFlag()
{
    for (const QString &code : Countries::codes()) {
        CircleImageView view;
        view.setImageNamed(code.toLower());
        view.resize(24, 24);
        const QImage image = view.grab().toImage().convertToFormat(QImage::Format_RGB32);
        QVERIFY2(image.pixel(12, 12) != image.pixel(0, 0) || image.pixel(12, 4) != image.pixel(0, 0),
                 qPrintable(code));
    }
}

QTEST_MAIN(ServerListsTest)
#include "ServerListsTest.moc"
