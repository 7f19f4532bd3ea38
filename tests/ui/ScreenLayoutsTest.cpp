#include "ui/Colors.h"
#include "ui/NoticeStrip.h"
#include "ui/Style.h"

#include "ui_HomeVC.h"
#include "ui_ViewController.h"

#include <QPushButton>
#include <QScopeGuard>
#include <QTest>

using namespace velmora;
using namespace Qt::StringLiterals;

namespace {

template<class Layout>
struct Shown
{
    explicit Shown(QSize size = {400, 650})
    {
        layout.setupUi(&view);
        view.resize(size);
        view.show();
    }

    QWidget view;
    Layout layout;
};

using Login = Shown<Ui::ViewController>;
using Home = Shown<Ui::HomeVC>;

struct SystemFont
{
    explicit SystemFont(qreal factor)
    {
        QFont font = saved;
        font.setPointSizeF(font.pointSizeF() * factor);
        QApplication::setFont(font);
    }
    ~SystemFont() { QApplication::setFont(saved); }
    SystemFont(const SystemFont &) = delete;
    SystemFont &operator=(const SystemFont &) = delete;

    QFont saved = QApplication::font();
};

/// The visible texts of the view that have less room than they need.
QStringList cutTexts(const QWidget &view)
{
    QStringList cut;
    for (const QWidget *const widget : view.findChildren<QWidget *>()) {
        const auto *label = qobject_cast<const QLabel *>(widget);
        const auto *button = qobject_cast<const QPushButton *>(widget);
        if ((label == nullptr && button == nullptr) || !widget->isVisible())
            continue;
        const QString text = label != nullptr ? label->text() : button->text();
        const bool wraps = label != nullptr && label->wordWrap();
        const int height = wraps ? widget->heightForWidth(widget->width()) : widget->sizeHint().height();
        if ((!wraps && widget->width() < widget->sizeHint().width()) || widget->height() < height)
            cut << text;
    }
    return cut;
}

QStringList focusOrder(const QWidget &view)
{
    QStringList order;
    QWidget *widget = view.window()->focusWidget();
    const QWidget *const start = widget;
    do {
        order << widget->objectName();
        QTest::keyClick(widget, Qt::Key_Tab);
        widget = view.window()->focusWidget();
    } while (widget != start && order.size() < 40);
    return order;
}

} // namespace

class ScreenLayoutsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { Style::install(); }

    void textsAreReadable_data();
    void textsAreReadable();
    void theStyleFollowsTheDesktop();
    void screensStayWholeWithLargeFonts_data();
    void screensStayWholeWithLargeFonts();
    void theKeyboardGoesThroughTheHomeScreenInItsOrder();
    void aPanelKeepsTheKeyboardAndGivesItBack();
};

void ScreenLayoutsTest::textsAreReadable_data()
{
    QTest::addColumn<QPalette>("palette");
    QPalette highContrast(Qt::black);
    highContrast.setColor(QPalette::WindowText, Qt::yellow);
    QTest::newRow("own, light") << colors::lightPalette();
    QTest::newRow("own, dark") << colors::darkPalette();
    QTest::newRow("of a light desktop") << colors::withAccent(QPalette(QColor(0xef, 0xf0, 0xf1)));
    QTest::newRow("of a dark desktop") << colors::withAccent(QPalette(QColor(0x31, 0x36, 0x3b)));
    QTest::newRow("of high contrast") << colors::withAccent(highContrast);
}

void ScreenLayoutsTest::textsAreReadable()
{
    QFETCH(QPalette, palette);
    const auto readable = [](const QColor &text, const QColor &ground) {
        return colors::contrast(text, ground) >= 4.5;
    };
    using P = QPalette;
    QVERIFY(readable(palette.color(P::WindowText), palette.color(P::Window)));
    QVERIFY(readable(palette.color(P::HighlightedText), palette.color(P::Highlight)));
    QVERIFY(readable(colors::quietText(palette), palette.color(P::Window)));
    QVERIFY(readable(colors::onProtected(), colors::protectedFill(palette)));
    QVERIFY(colors::contrast(colors::controlOutline(palette), palette.color(P::Window)) >= 3);
    // The quiet texts on a fill: the latency in the selected row, lines on the status card.
    const P onAccent = colors::onFill(palette.color(P::Highlight), palette.color(P::HighlightedText));
    const P onTone = colors::onFill(colors::protectedFill(palette), colors::onProtected());
    for (const P &fill : {onAccent, onTone})
        QVERIFY(readable(colors::quietText(fill), fill.color(P::Window)));
}

void ScreenLayoutsTest::theStyleFollowsTheDesktop()
{
    Home home;
    home.layout.connectStatusText->setText(u"Connected"_s);
    const QColor light = home.layout.connectStatusText->palette().color(QPalette::WindowText);
    const int lightHeight = home.layout.connectStatusText->sizeHint().height();
    home.layout.statusCard->setProtected(true);
    Style::setDark(true);
    QTRY_COMPARE(home.layout.statusCard->palette().color(QPalette::Window),
                 colors::protectedFill(colors::darkPalette()));
    home.layout.statusCard->setProtected(false);
    QVERIFY(home.layout.connectStatusText->palette().color(QPalette::WindowText) != light);
    Style::setDark(false);
    QTRY_COMPARE(home.layout.connectStatusText->palette().color(QPalette::WindowText), light);

    const SystemFont larger(1.5);
    QTRY_VERIFY(home.layout.connectStatusText->sizeHint().height() > lightHeight * 1.3);
}

void ScreenLayoutsTest::screensStayWholeWithLargeFonts_data()
{
    QTest::addColumn<qreal>("factor");
    QTest::newRow("ordinary font") << 1.0;
    QTest::newRow("large font") << 1.5;
    QTest::newRow("font of twice the size") << 2.0;
}

void ScreenLayoutsTest::screensStayWholeWithLargeFonts()
{
    QFETCH(qreal, factor);
    const SystemFont font(factor);
    // What a screen of 1366 × 768 leaves beside panels, title bar and menu bar.
    const QSize room(1366, 660);
    Login login;
    Home home;
    home.layout.connectStatusText->setText(u"Reasserting Connection"_s);
    home.layout.connectText->setText(u"Quick Connect"_s);
    Home notice;
    notice.layout.installModal->setVisible(true);
    // As much as can be missing at once, at its longest.
    NoticeStrip::setLines({u"No NetworkManager: install or start network-manager"_s,
                           u"The keyring is locked: unlock it or restart Velmora"_s});
    const auto end = qScopeGuard([] { NoticeStrip::setLines({}); });
    for (QWidget *const view : {&login.view, &home.view, &notice.view}) {
        QCoreApplication::processEvents();
        // The strip's height follows from its width.
        view->resize(view->size().expandedTo(view->minimumSizeHint()));
        QCoreApplication::processEvents();
        const QSize least = view->minimumSizeHint();
        QVERIFY2(
            least.width() <= room.width() && least.height() <= room.height(),
            qPrintable(u"%1 needs %2 x %3"_s.arg(view->objectName()).arg(least.width()).arg(least.height())));
        view->resize(QSize(400, 650).expandedTo(least));
        QCoreApplication::processEvents();
        QCOMPARE(cutTexts(*view).join(u'|'), QString());
    }
}

void ScreenLayoutsTest::theKeyboardGoesThroughTheHomeScreenInItsOrder()
{
    Home home;
    QVERIFY(QTest::qWaitForWindowActive(&home.view));
    home.layout.connectButton->setFocus();
    // The panels are hidden: no way leads to their buttons.
    QCOMPARE(
        focusOrder(home.view),
        (QStringList{u"connectButton"_s, u"favorites"_s, u"countries"_s, u"pingButton"_s, u"recentButton"_s,
                     u"button1"_s, u"button2"_s, u"button3"_s, u"helpButton"_s, u"settingsButton"_s}));
}

void ScreenLayoutsTest::aPanelKeepsTheKeyboardAndGivesItBack()
{
    Home home;
    QVERIFY(QTest::qWaitForWindowActive(&home.view));
    home.layout.button1->setFocus();
    ModalPanel *const panel = home.layout.updateModal;
    int escapes = 0;
    connect(panel, &ModalPanel::escapePressed, this, [&escapes] { ++escapes; });

    panel->setVisible(true);
    QCOMPARE(focusOrder(home.view), (QStringList{u"updateButton"_s, u"closeButton"_s}));
    // A mnemonic of the covered screen.
    home.layout.favorites->setFocus(Qt::ShortcutFocusReason);
    QVERIFY(panel->isAncestorOf(home.view.focusWidget()));
    QCOMPARE(home.view.childAt(home.layout.button1->mapTo(&home.view, QPoint(5, 5))), panel);
    QTest::keyClick(home.view.focusWidget(), Qt::Key_Escape);
    QCOMPARE(escapes, 1);
    panel->setVisible(false);
    QVERIFY(home.layout.button1->hasFocus());

    // One panel takes over from another, as from the update to its installation.
    panel->setVisible(true);
    panel->setVisible(false);
    home.layout.installModal->setVisible(true);
    QCOMPARE(home.view.focusWidget(), home.layout.installCloseButton);
    home.layout.installModal->setVisible(false);
    QVERIFY(home.layout.button1->hasFocus());
}

QTEST_MAIN(ScreenLayoutsTest)
#include "ScreenLayoutsTest.moc"
