#include "servers/CountryCellView.h"
#include "servers/CountryTV.h"
#include "tests/servers/ListSamples.h"
#include "tests/support/FakeSecretStore.h"

#include <QApplication>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

using Report = std::pair<qint64, const TableView *>;

void click(TableView &list, int y, Qt::KeyboardModifiers modifiers = {})
{
    QTest::mousePress(list.viewport(), Qt::LeftButton, modifiers, {60, y});
}

} // namespace

/// Selecting, scrolling and typing in a list, and what survives its reload.
class ListInputTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        ServiceManager::shared() = {};
        FakeSecretStore::install();
    }

    void selectionIsReportedWithItsList();
    void whatSelectsSilentlyReportsNothing();
    void reloadKeepsPlaceFocusAndSelection();
    void theKeyboardMovesThroughRows();
    void theKeyboardReachesTheStarOfTheSelectedRowAlone();
    void typingFindsANextRow();
};

void ListInputTest::selectionIsReportedWithItsList()
{
    storeMany(3);
    CountryTV list;
    QList<Report> reports;
    list.selectedEndpointDelegate = [&](qint64 id, const TableView *from) {
        reports.append({id, from});
    };
    showFilled(list);

    click(list, 50);
    QCOMPARE(reports, (QList<Report>{{2, &list}}));
    click(list, 50);
    QCOMPARE(reports.size(), 1);
    // Below the last row there is nothing to select.
    click(list, 150);
    QCOMPARE(reports.last(), Report(-1, &list));
    list.deselectAll();
    QCOMPARE(reports.size(), 2);
    list.selectRow(0);
    click(list, 10, Qt::ControlModifier);
    QCOMPARE(reports.size(), 4);
    QCOMPARE(reports.last().first, -1);
}

void ListInputTest::whatSelectsSilentlyReportsNothing()
{
    storeMany(40);
    CountryTV list;
    int reports = 0;
    list.selectedEndpointDelegate = [&](qint64, const TableView *) {
        ++reports;
    };
    showFilled(list);

    QVERIFY(list.selectEndpointSilently(31));
    QCOMPARE(list.selectedRow(), 30);
    QVERIFY(!list.selectEndpointSilently(99));
    QCOMPARE(list.selectedRow(), -1);
    list.selectEndpointSilently(40);
    storeMany(2);
    list.reloadData();
    QCOMPARE(list.selectedRow(), -1);
    QCOMPARE(reports, 0);

    // Of two rows for one endpoint the selected one stays selected.
    ServiceManager::shared().countryService.append(endpoint(1, u"Again"_s));
    list.reloadData();
    list.selectRow(2);
    QVERIFY(list.selectEndpointSilently(1));
    QCOMPARE(list.selectedRow(), 2);
}

void ListInputTest::reloadKeepsPlaceFocusAndSelection()
{
    storeMany(500);
    CountryTV list;
    showFilled(list);
    QVERIFY(QTest::qWaitForWindowActive(&list));
    list.setFocus();
    list.selectRow(100);
    list.scrollRowToVisible(100);
    const int place = list.verticalScrollBar()->value();
    IconButton *const star = cellAt<CountryCellView>(list, 100)->starBtn.get();
    star->setFocus(Qt::TabFocusReason);

    ServiceManager::shared().allService[100].ping = QList<double>{1, 1, 1};
    list.reloadData();

    QCOMPARE(list.verticalScrollBar()->value(), place);
    QCOMPARE(list.selectedRow(), 100);
    QCOMPARE(cellAt<CountryCellView>(list, 100)->pingLabel->text(), u"1.0 ms"_s);
    // The row has the view that it had, so whatever is about it stays: focus, pointer, tooltip.
    QCOMPARE(cellAt<CountryCellView>(list, 100)->starBtn.get(), star);
    QVERIFY(star->hasFocus());

    // A star that scrolls away leaves the focus with its list.
    list.verticalScrollBar()->setValue(0);
    QVERIFY(list.hasFocus());
}

void ListInputTest::theKeyboardMovesThroughRows()
{
    storeMany(50);
    CountryTV list;
    showFilled(list);
    const QList<std::pair<Qt::Key, int>> steps{
        {Qt::Key_Down, 0}, {Qt::Key_Down, 1}, {Qt::Key_End, 49}, {Qt::Key_Down, 49},    {Qt::Key_PageUp, 44},
        {Qt::Key_Up, 43},  {Qt::Key_Home, 0}, {Qt::Key_Up, 0},   {Qt::Key_PageDown, 5},
    };
    for (const auto &[key, row] : steps) {
        QTest::keyClick(&list, key);
        QCOMPARE(list.selectedRow(), row);
        QVERIFY(list.viewport()->rect().contains(list.viewAtRow(row)->geometry()));
    }
}

void ListInputTest::theKeyboardReachesTheStarOfTheSelectedRowAlone()
{
    storeMany(50);
    QWidget window;
    auto *list = new CountryTV(&window);
    list->resize(320, 210);
    auto *after = new QPushButton(&window);
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    list->setFocus();

    QTest::keyClick(list, Qt::Key_Tab);
    QVERIFY(after->hasFocus());
    QTest::keyClick(after, Qt::Key_Backtab);
    QVERIFY(list->hasFocus());

    QTest::keyClick(list, Qt::Key_End);
    list->verticalScrollBar()->setValue(0);
    QTest::keyClick(list, Qt::Key_Tab);
    QCOMPARE(window.focusWidget(), cellAt<CountryCellView>(*list, 49)->starBtn.get());
    // Moving on from a star leads to the next star.
    QTest::keyClick(window.focusWidget(), Qt::Key_Up);
    IconButton *const star = cellAt<CountryCellView>(*list, 48)->starBtn.get();
    QCOMPARE(window.focusWidget(), star);
    QCOMPARE(list->selectedRow(), 48);
    QSignalSpy pressed(star, &IconButton::clicked);
    QTest::keyClick(star, Qt::Key_Return);
    QTest::keyClick(star, Qt::Key_Space);
    QCOMPARE(pressed.size(), 2);
    QTest::keyClick(star, Qt::Key_Tab);
    QVERIFY(after->hasFocus());
}

void ListInputTest::typingFindsANextRow()
{
    ServiceManager &store = ServiceManager::shared();
    store.allService = {endpoint(1, u"Oslo"_s), endpoint(2, u"Paris"_s), endpoint(3, u"Prague"_s),
                        endpoint(4, u"Perth"_s)};
    store.countryService = store.allService;
    CountryTV list;
    showFilled(list);
    QTest::keyClicks(&list, u"pr"_s);
    QCOMPARE(list.selectedRow(), 2);
    // The time between keys ends one search and begins another.
    QApplication::setKeyboardInputInterval(0);
    QTest::keyClicks(&list, u"p"_s);
    QCOMPARE(list.selectedRow(), 3);
    QTest::keyClicks(&list, u"p"_s);
    QCOMPARE(list.selectedRow(), 1);
    QTest::keyClicks(&list, u"x"_s);
    QCOMPARE(list.selectedRow(), 1);
}

QTEST_MAIN(ListInputTest)
#include "ListInputTest.moc"
