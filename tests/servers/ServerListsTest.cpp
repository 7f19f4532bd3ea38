#include "api/ServiceManager.h"
#include "resources/Pictures.h"
#include "servers/Countries.h"
#include "servers/CountryTV.h"
#include "servers/FavoriteTV.h"
#include "tests/support/FakeSecretStore.h"
#include "ui/DisplayText.h"
#include "ui/Style.h"

#include <QAccessible>
#include <QApplication>
#include <QLineEdit>
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

/// Shows so many endpoints with the ids from 1. Hide the list at the end: Qt would do it once only the widget
/// is left of it.
void showMany(TableView &list, int count)
{
    ServiceManager &store = ServiceManager::shared();
    store = {};
    for (qint64 id = 1; id <= count; ++id)
        store.allService.append(endpoint(id, u"Place %1"_s.arg(id)));
    store.countryService = store.allService;
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
    const QString tag = QString::number(cell->starBtn->tag());
    return QStringList{cell->flagImageView->imageName(), tag, cell->spokenText()}.join(u' ');
}

} // namespace

class ServerListsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { Style::install(); }

    void aRowShowsTheFirstRecordWithItsId()
    {
        ServiceManager &store = ServiceManager::shared();
        const QList<double> measured{1, 99, 23.4375};
        store.allService = {endpoint(0, u"Zero"_s), endpoint({}, u"Without"_s),
                            endpoint(7, u"<b>A</b>\u2028B\u202E"_s, measured), endpoint(7, u"Second"_s)};
        store.countryService = {endpoint(7, u"Second"_s), endpoint(8, u"Gone"_s), endpoint({}, u"Any"_s),
                                endpoint(0, u"Zero"_s, measured)};
        store.favService = {7, 9};
        CountryTV countries;
        FavoriteTV favorites;
        countries.reloadData();
        favorites.reloadData();
        const QStringList expected{u"us 7 <b>A</b> B\uFFFD, 23.4 ms"_s, u" 0 Unknown location"_s,
                                   u"us 0 Without"_s, u"us 0 Zero"_s};
        for (int row = 0; row < 4; ++row)
            QCOMPARE(shownAt(countries, row), expected[row] + u", not a favourite"_s);
        for (int row = 0; row < 2; ++row)
            QCOMPARE(shownAt(favorites, row), expected[row] + u", favourite"_s);
        QCOMPARE(displayText(u"A\u2028B\u2029C\r\tD\u0085E\0\u202EF\u2067G\u061Cא\n"_s),
                 u"A\nB\nC  D E \uFFFDF\uFFFDG\u061Cא\n"_s);
    }

    void rowViewsAreFewWhateverTheLength()
    {
        CountryTV list;
        showMany(list, 100'000);
        const int end = list.verticalScrollBar()->maximum();
        QCOMPARE(end, 100'000 * 35 - list.viewport()->height());
        for (int place = 0; place <= end; place += end / 200) {
            list.verticalScrollBar()->setValue(place);
            QCOMPARE(cellAt(list, place / 35)->starBtn->tag(), place / 35 + 1);
            QCOMPARE(cellAt(list, place / 35)->y(), -(place % 35));
        }
        QVERIFY(list.findChildren<TableCellView *>().size() <= 8);
        // A row is built from the store as it is, also before the next reload.
        ServiceManager::shared().allService.prepend(endpoint({}, u"New"_s));
        ServiceManager::shared().countryService[0].id.reset();
        list.verticalScrollBar()->setValue(0);
        QCOMPARE(shownAt(list, 0), u"us 0 New, not a favourite"_s);
        QCOMPARE(shownAt(list, 5), u"us 6 Place 6, not a favourite"_s);
        ServiceManager::shared() = {};
        QCOMPARE(shownAt(list, 7), u" 0 Unknown location, not a favourite"_s);
        list.hide();
    }

    void aHeldKeyActsOnce()
    {
        QPushButton button;
        QLineEdit line;
        const QSignalSpy clicked(&button, &QPushButton::clicked);
        quint64 time = 1;
        // Qt marks the repeats of a key, but does not recognise them everywhere.
        const auto hold = [&time](QWidget *widget, Qt::Key key, const QString &text, bool recognised) {
            ++time;
            for (int step = 0; step < 8; ++step) {
                const bool isPress = step % 2 == 0;
                QKeyEvent event(isPress ? QEvent::KeyPress : QEvent::KeyRelease, key, Qt::NoModifier, text,
                                recognised && step > 0 && step < 7);
                event.setTimestamp(isPress && !recognised ? time : ++time);
                QApplication::sendEvent(widget, &event);
            }
        };
        for (const bool recognised : {true, false}) {
            hold(&button, Qt::Key_Return, u"\r"_s, recognised);
            hold(&button, Qt::Key_Space, u" "_s, recognised);
        }
        QCOMPARE(clicked.size(), 4);
        // A letter goes on repeating.
        hold(&line, Qt::Key_Space, u" "_s, false);
        QCOMPARE(line.text(), QString(4, u' '));
    }

    void aPressOfAStarIsForTheRowThatItHit()
    {
        FakeSecretStore::install();
        CountryTV list;
        showMany(list, 9);
        IconButton *const star = cellAt(list, 2)->starBtn.get();
        const QSignalSpy clicked(star, &IconButton::clicked);
        const auto firstRowGoes = [&list] {
            ServiceManager::shared().countryService.removeFirst();
            list.reloadData();
        };
        QTest::mouseClick(star, Qt::LeftButton);
        QTest::mouseDClick(star, Qt::LeftButton);
        QTest::mouseRelease(star, Qt::LeftButton);
        QCOMPARE(clicked.size(), 2);
        // The second press hits the row that has moved up.
        firstRowGoes();
        QTest::mouseDClick(star, Qt::LeftButton);
        QTest::mouseRelease(star, Qt::LeftButton);
        // The row moves between press and release.
        QTest::mousePress(star, Qt::LeftButton);
        firstRowGoes();
        QTest::mouseRelease(star, Qt::LeftButton);
        QCOMPARE(clicked.size(), 2);
        list.hide();
    }

    void everyCountryHasAFlag()
    {
        for (const QString &code : Countries::codes())
            QVERIFY2(qAlpha(pictures::flag(code.toLower(), 24, 1).toImage().pixel(12, 12)) == 255,
                     qPrintable(code));
    }

    void whatAPersonSelectsIsReported()
    {
        CountryTV list;
        showMany(list, 3);
        QList<qint64> reports;
        list.selectedEndpointDelegate = [&reports](qint64 id, const TableView *) {
            reports.append(id);
        };
        // Below the last row there is nothing to select.
        for (const int y : {50, 50, 150, 150, 10})
            QTest::mousePress(list.viewport(), Qt::LeftButton, {}, {60, y});
        QTest::mousePress(list.viewport(), Qt::LeftButton, Qt::ControlModifier, {60, 10});
        QCOMPARE(reports, (QList<qint64>{2, -1, 1, -1}));
        list.hide();
    }

    void theKeyboardReachesRowsAndTheStarOfTheSelectedOne()
    {
        CountryTV list;
        showMany(list, 50);
        const QList<std::pair<Qt::Key, int>> steps{
            {Qt::Key_Down, 0}, {Qt::Key_End, 49}, {Qt::Key_Down, 49}, {Qt::Key_PageUp, 44},
            {Qt::Key_Up, 43},  {Qt::Key_Home, 0}, {Qt::Key_Up, 0},    {Qt::Key_PageDown, 5},
        };
        for (const auto &[key, row] : steps) {
            QTest::keyClick(&list, key);
            QCOMPARE(list.selectedRow(), row);
            QCOMPARE(list.visibleViews().value(row), list.viewAtRow(row));
        }
        // Assistive tools have the whole list.
        QAccessibleInterface *const row = QAccessible::queryAccessibleInterface(&list)->child(40);
        row->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        list.verticalScrollBar()->setValue(0);
        QTest::keyClick(&list, Qt::Key_Tab);
        QCOMPARE(list.focusWidget(), cellAt(list, 40)->starBtn.get());
        // Moving on from a star leads to the next star.
        QTest::keyClick(list.focusWidget(), Qt::Key_Up);
        QCOMPARE(list.focusWidget(), cellAt(list, 39)->starBtn.get());
        // One that scrolls away leaves the focus with its list, not with what comes behind it.
        QPushButton behind(&list);
        behind.show();
        list.verticalScrollBar()->setValue(0);
        QVERIFY(list.hasFocus());
        list.hide();
    }
};

QTEST_MAIN(ServerListsTest)
#include "ServerListsTest.moc"
