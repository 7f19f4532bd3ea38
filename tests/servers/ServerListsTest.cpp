#include "api/ServiceManager.h"
#include "resources/Pictures.h"
#include "servers/Countries.h"
#include "servers/CountryTV.h"
#include "servers/FavoriteTV.h"
#include "servers/RecentTV.h"
#include "tests/support/DeathTest.h"
#include "tests/support/FakeSecretStore.h"
#include "ui/DisplayText.h"
#include "ui/Style.h"

#include <QAccessible>
#include <QApplication>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

Service endpoint(std::optional<qint64> id, const QString &name, std::optional<QList<double>> ping = {})
{
    return {id, name, u"US"_s, u"192.0.2.1"_s, std::move(ping)};
}

/// Endpoints with the ids from 1, none of them a favourite.
void storeMany(int count)
{
    ServiceManager &store = ServiceManager::shared();
    store = {};
    for (qint64 id = 1; id <= count; ++id)
        store.allService.append(endpoint(id, u"Place %1"_s.arg(id)));
    store.countryService = store.allService;
}

void showFilled(TableView &list)
{
    list.resize(320, 210);
    list.show();
    QVERIFY(QTest::qWaitForWindowActive(&list));
}

EndpointCellView *cellAt(TableView &list, int row)
{
    return qobject_cast<EndpointCellView *>(list.viewAtRow(row));
}

/// The row's flag, the tag of its star and what assistive tools read from its labels.
QString shownAt(TableView &list, int row)
{
    const EndpointCellView *const cell = cellAt(list, row);
    return u"%1 %2 %3"_s.arg(cell->flagImageView->imageName())
        .arg(cell->starBtn->tag())
        .arg(cell->spokenText());
}

void sendMouse(QWidget *widget, const QList<QEvent::Type> &types)
{
    const QPointF at = QRectF(widget->rect()).center();
    for (const QEvent::Type type : types) {
        QMouseEvent event(type, at, widget->mapToGlobal(at), Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(widget, &event);
    }
}

} // namespace

class ServerListsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        Style::install();
        FakeSecretStore::install();
    }

    void aRowShowsTheFirstRecordWithItsId()
    {
        ServiceManager &store = ServiceManager::shared();
        const QList<double> measured{1, 99, 23.4375};
        store.allService = {endpoint(0, u"Zero"_s), endpoint({}, u"Without"_s),
                            endpoint(7, u"<b>A</b> & B"_s, measured), endpoint(7, u"Second"_s)};
        store.countryService = {endpoint(7, u"Second"_s), endpoint(8, u"Gone"_s), endpoint({}, u"Any"_s),
                                endpoint(0, u"Zero"_s, measured)};
        store.favService = {7, 9};
        CountryTV countries;
        FavoriteTV favorites;
        countries.reloadData();
        favorites.reloadData();
        const QStringList expected{u"us 7 <b>A</b> & B, 23.4 ms"_s, u" 0 Unknown location"_s,
                                   u"us 0 Without"_s, u"us 0 Zero"_s};
        for (int row = 0; row < 4; ++row)
            QCOMPARE(shownAt(countries, row), expected[row] + u", not a favourite"_s);
        QCOMPARE(shownAt(favorites, 0), expected[0] + u", favourite"_s);
        // A record without id is no favourite.
        QCOMPARE(shownAt(favorites, 1), expected[1] + u", favourite"_s);
    }

    void brokenInvariantsAreFatal()
    {
        storeMany(1);
        CountryTV list;
        list.reloadData();
        const auto diesBy = [&list](const std::function<void()> &fault) {
            const auto reloadAfter = [&] {
                fault();
                list.reloadData();
            };
            return runsToItsDeath(reloadAfter).aborted;
        };
        QVERIFY(!diesBy([] { storeMany(2); }));
        QVERIFY(diesBy([] { ServiceManager::shared().allService[0].ping = QList<double>{1, 2}; }));
        QVERIFY(diesBy([&] {
            list.registerLayout([](QWidget *viewport) { return new FavoriteCellView(viewport); },
                                list.cellIdentifierName);
            storeMany(2);
        }));
    }

    void rowViewsAreFewWhateverTheLength()
    {
        storeMany(100'000);
        CountryTV list;
        showFilled(list);
        const int end = list.verticalScrollBar()->maximum();
        QCOMPARE(end, 100'000 * 35 - list.viewport()->height());
        for (int place = 0; place <= end; place += end / 200) {
            list.verticalScrollBar()->setValue(place);
            QCOMPARE(cellAt(list, place / 35)->countryLabel->text(), u"Place %1"_s.arg(place / 35 + 1));
            QCOMPARE(cellAt(list, place / 35)->y(), -(place % 35));
        }
        const auto views = list.findChildren<TableCellView *>().size();
        QVERIFY2(views <= 8, qPrintable(QString::number(views)));
        // A row is built from the store as it is, also before the next reload.
        ServiceManager::shared().allService.prepend(endpoint({}, u"New"_s));
        ServiceManager::shared().countryService[0].id.reset();
        list.verticalScrollBar()->setValue(0);
        QCOMPARE(shownAt(list, 0), u"us 0 New, not a favourite"_s);
        QCOMPARE(shownAt(list, 5), u"us 6 Place 6, not a favourite"_s);
        // The rows are counted when the list is reloaded; one whose entry is gone before shows nothing.
        storeMany(0);
        QCOMPARE(shownAt(list, 7), u" 0 Unknown location, not a favourite"_s);
    }

    void assistiveToolsHaveTheWholeList()
    {
        storeMany(300);
        CountryTV list;
        list.setProperty("emptyText", u"Nothing here"_s);
        showFilled(list);
        QAccessibleInterface *const rows = QAccessible::queryAccessibleInterface(&list);
        for (const int row : {0, 5, 299}) {
            QAccessibleInterface *const each = rows->child(row);
            QCOMPARE(each->text(QAccessible::Name), u"Place %1, not a favourite"_s.arg(row + 1));
            QCOMPARE(rows->indexOfChild(each), row);
            QCOMPARE(each->state().offscreen, row == 299);
            QCOMPARE(each->childCount(), row == 299 ? 0 : 1);
        }
        rows->child(299)->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QCOMPARE(list.selectedRow(), 299);
        storeMany(0);
        list.reloadData();
        QCOMPARE(rows->childCount(), 0);
        QCOMPARE(rows->text(QAccessible::Description), u"Nothing here"_s);
    }

    void aHeldKeyActsOnce()
    {
        QWidget window;
        QPushButton push(&window);
        IconButton icon(&window);
        QLineEdit line(&window);
        quint64 time = 1;
        // Qt marks the repeats of a key, but does not recognise them everywhere.
        bool recognised = true;
        const auto hold = [&](QWidget *widget, Qt::Key key, const QString &text) {
            const auto send = [&](QEvent::Type type, bool repeats) {
                QKeyEvent event(type, key, Qt::NoModifier, text, repeats);
                event.setTimestamp(time);
                QApplication::sendEvent(widget, &event);
            };
            send(QEvent::KeyPress, false);
            for (int repeat = 0; repeat < 3; ++repeat) {
                ++time;
                send(QEvent::KeyRelease, recognised);
                send(QEvent::KeyPress, recognised);
            }
            ++time;
            send(QEvent::KeyRelease, false);
            ++time;
        };
        for (QAbstractButton *const button : QList<QAbstractButton *>{&push, &icon}) {
            const QSignalSpy clicked(button, &QAbstractButton::clicked);
            for (recognised = true; clicked.size() < 4; recognised = false) {
                const auto before = clicked.size();
                hold(button, Qt::Key_Return, u"\r"_s);
                hold(button, Qt::Key_Space, u" "_s);
                QCOMPARE(clicked.size(), before + 2);
            }
        }
        // A letter goes on repeating.
        hold(&line, Qt::Key_Space, u" "_s);
        QCOMPARE(line.text(), QString(4, u' '));
    }

    void aPressOfAStarIsForTheRowThatItHit()
    {
        storeMany(9);
        CountryTV list;
        showFilled(list);
        IconButton *const star = cellAt(list, 2)->starBtn.get();
        const QSignalSpy clicked(star, &IconButton::clicked);
        const QList<QEvent::Type> press{QEvent::MouseButtonPress, QEvent::MouseButtonRelease};
        const QList<QEvent::Type> pressAgain{QEvent::MouseButtonDblClick, QEvent::MouseButtonRelease};
        const auto firstRowGoes = [&list] {
            ServiceManager::shared().countryService.removeFirst();
            list.reloadData();
        };
        sendMouse(star, press + pressAgain);
        QCOMPARE(clicked.size(), 2);
        // The second press hits the row that has moved up.
        sendMouse(star, press);
        firstRowGoes();
        sendMouse(star, pressAgain);
        QCOMPARE(clicked.size(), 3);
        // The row moves between press and release.
        sendMouse(star, press.first(1));
        firstRowGoes();
        sendMouse(star, press.last(1));
        QCOMPARE(clicked.size(), 3);
        // The first press hit something else.
        QEvent leave(QEvent::Leave);
        QApplication::sendEvent(star, &leave);
        sendMouse(star, pressAgain);
        QCOMPARE(clicked.size(), 3);
        QCOMPARE(list.selectedRow(), -1);
    }

    void textsAreShownWithoutWhatActsOnTheTextAround()
    {
        const QString hostile = u"A\u2028B\u2029C\r\tD\u0085E\0\u202EF\u2067G\u061Cא\n"_s;
        QCOMPARE(displayText(hostile), u"A\nB\nC  D E \uFFFDF\uFFFDG\u061Cא\n"_s);
        ServiceManager &store = ServiceManager::shared();
        store.allService = store.countryService = {endpoint(1, u"Ber\u2028lin\u202E"_s)};
        CountryTV list;
        list.reloadData();
        QCOMPARE(cellAt(list, 0)->countryLabel->text(), u"Ber lin\uFFFD"_s);
        QCOMPARE(cellAt(list, 0)->starBtn->accessibleName(), u"Add Ber lin\uFFFD to favourites"_s);
    }

    void recentPlacesAreFourAndRefuseSelection()
    {
        RecentTV list;
        showFilled(list);
        QString shown;
        for (const TableCellView *const view : list.visibleViews())
            shown += view->findChild<CircleImageView *>()->imageName() + u' ' + view->spokenText() + u' ';
        QCOMPARE(shown, u"us United States gb United Kingdom ca Canada fr France "_s);
        QTest::mousePress(list.viewport(), Qt::LeftButton, {}, {60, 50});
        QTest::keyClick(&list, Qt::Key_Down);
        QCOMPARE(list.selectedRow(), -1);
    }

    void everyCountryHasAFlag()
    {
        for (const QString &code : Countries::codes()) {
            const QImage flag = pictures::flag(code.toLower(), 24, 1).toImage();
            QVERIFY2(!flag.isNull() && qAlpha(flag.pixel(12, 12)) == 255, qPrintable(code));
        }
    }

    void whatAPersonSelectsIsReported()
    {
        storeMany(3);
        CountryTV list;
        QList<qint64> reports;
        list.selectedEndpointDelegate = [&reports](qint64 id, const TableView *) {
            reports.append(id);
        };
        showFilled(list);
        // Below the last row there is nothing to select.
        for (const int y : {50, 50, 150, 150, 10})
            QTest::mousePress(list.viewport(), Qt::LeftButton, {}, {60, y});
        QTest::mousePress(list.viewport(), Qt::LeftButton, Qt::ControlModifier, {60, 10});
        QCOMPARE(reports, (QList<qint64>{2, -1, 1, -1}));
    }

    void theKeyboardReachesRowsAndTheStarOfTheSelectedOne()
    {
        storeMany(50);
        CountryTV list;
        showFilled(list);
        const QList<std::pair<Qt::Key, int>> steps{
            {Qt::Key_Down, 0}, {Qt::Key_End, 49}, {Qt::Key_Down, 49}, {Qt::Key_PageUp, 44},
            {Qt::Key_Up, 43},  {Qt::Key_Home, 0}, {Qt::Key_Up, 0},    {Qt::Key_PageDown, 5},
        };
        for (const auto &[key, row] : steps) {
            QTest::keyClick(&list, key);
            QCOMPARE(list.selectedRow(), row);
            QVERIFY(list.viewport()->rect().contains(list.viewAtRow(row)->geometry()));
        }
        // However slowly a loaded machine types, it is one search.
        QApplication::setKeyboardInputInterval(60000);
        QTest::keyClicks(&list, u"place 41"_s);
        QCOMPARE(list.selectedRow(), 40);

        list.verticalScrollBar()->setValue(0);
        QTest::keyClick(&list, Qt::Key_Tab);
        QCOMPARE(list.focusWidget(), cellAt(list, 40)->starBtn.get());
        // Moving on from a star leads to the next star.
        QTest::keyClick(list.focusWidget(), Qt::Key_Up);
        IconButton *const star = cellAt(list, 39)->starBtn.get();
        QCOMPARE(list.focusWidget(), star);
        const QSignalSpy pressed(star, &IconButton::clicked);
        QTest::keyClick(star, Qt::Key_Return);
        QTest::keyClick(star, Qt::Key_Space);
        QCOMPARE(pressed.size(), 2);
        // One that scrolls away leaves the focus with its list, not with what comes behind it.
        QPushButton behind(&list);
        behind.show();
        list.verticalScrollBar()->setValue(0);
        QVERIFY(list.hasFocus());
    }
};

QTEST_MAIN(ServerListsTest)
#include "ServerListsTest.moc"
