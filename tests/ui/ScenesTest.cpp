#include "tests/support/Scenes.h"
#include "app/MainStoryboard.h"
#include "connection/StatusCard.h"
#include "tests/support/FakeSecretStore.h"
#include "tests/support/FakeVPNManager.h"
#include "ui/Alert.h"
#include "ui/Colors.h"
#include "ui/ModalPanel.h"
#include "ui/Screen.h"
#include "ui/Storyboard.h"
#include "ui/Style.h"
#include "ui/TableView.h"
#include "ui/Window.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QHash>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScopeGuard>
#include <QScreen>
#include <QScrollBar>
#include <QTest>
#include <QWindow>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

/// Drawn so large, a stroke is wide enough to show its own colour between its soft edges.
constexpr int scale = 4;
/// The least contrast of what is not text (WCAG 2, success criterion 1.4.11).
constexpr double readableIcon = 3;
/// The room that a screen of 1366 × 768 leaves beside panels, title bar and menu bar.
constexpr QSize room(1366, 660);

/// The text that the widget shows in one colour or the name of its icon.
QString contentOf(const QWidget *widget)
{
    const auto *list = qobject_cast<const TableView *>(widget);
    if (list != nullptr)
        return list->rowCount() == 0 ? list->emptyText() : QString();
    QString content;
    for (const char *property : {"text", "plainText", "placeholderText", "imageName"})
        content += widget->property(property).toString();
    return widget->property("coloured").toBool() ? QString() : content;
}

/// The contrast of the colour that there is most of with the one that stands out most of what is drawn on it.
double contrastIn(const QImage &image)
{
    QHash<QRgb, int> counts;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            ++counts[image.pixel(x, y)];
    }
    const auto ground = std::max_element(counts.cbegin(), counts.cend());
    double most = 1;
    for (auto colour = counts.cbegin(); colour != counts.cend(); ++colour) {
        if (*colour > *ground / 1000)
            most = std::max(most, colors::contrast(QColor(colour.key()), QColor(ground.key())));
    }
    return most;
}

bool isInList(const QWidget *widget)
{
    return widget != nullptr &&
           (qobject_cast<const TableView *>(widget) != nullptr || isInList(widget->parentWidget()));
}

/// True for a text with less room than it needs.
bool isShort(const QWidget *widget)
{
    const auto *label = qobject_cast<const QLabel *>(widget);
    if (label == nullptr && qobject_cast<const QPushButton *>(widget) == nullptr)
        return false;
    const int width = widget->width();
    const QSize needed = label != nullptr && label->wordWrap() ? QSize(width, label->heightForWidth(width))
                                                               : widget->sizeHint();
    return widget->size().expandedTo(needed) != widget->size();
}

/// Goes through the controls as a person with a keyboard does.
QStringList unreachableIn(Window &window, const QSize &space)
{
    const QSize outer = window.frameGeometry().size();
    QStringList faults;
    if (outer.boundedTo(space) != outer ||
        (outer.height() == space.height() && window.minimumSize() == window.maximumSize()))
        faults << u"%1 x %2 is too large or cannot be resized"_s.arg(outer.width()).arg(outer.height());
    const QWidget *const view = window.contentViewController()->loadedView();
    const QWidget *const first = window.focusWidget();
    do {
        const QWidget *const control = window.focusWidget();
        const QRect rect(control->mapTo(&window, QPoint()), control->size());
        const bool isList = qobject_cast<const TableView *>(control) != nullptr;
        if (!window.rect().contains(rect) && !isList)
            faults << control->objectName() + u" is out of sight"_s;
        QTest::keyClick(&window, Qt::Key_Tab);
    } while (window.focusWidget() != first);
    QList<QRect> places;
    for (const QWidget *const part : view->findChildren<QWidget *>()) {
        const bool hasParts = part->findChild<QWidget *>() != nullptr;
        if (!part->isVisible() || contentOf(part).isEmpty() || hasParts || isInList(part))
            continue;
        if (isShort(part) || part->size().expandedTo(part->minimumSizeHint()) != part->size())
            faults << u"“%1” is cut"_s.arg(contentOf(part));
        const QRect place(part->mapTo(view, QPoint()), part->size());
        for (const QRect &other : std::as_const(places)) {
            if (other.intersects(place))
                faults << u"“%1” is covered"_s.arg(contentOf(part));
        }
        places << place;
    }
    return faults;
}

QStringList faultsOf(QWidget &shown)
{
    QImage image(shown.size() * scale, QImage::Format_RGB32);
    image.setDevicePixelRatio(scale);
    shown.render(&image);
    image.setDevicePixelRatio(1);
    const QWidget *top = &shown;
    for (const ModalPanel *const panel : shown.findChildren<ModalPanel *>()) {
        if (panel->isVisible())
            top = panel;
    }
    QStringList faults;
    int parts = 0;
    for (const QWidget *const widget : top->findChildren<QWidget *>()) {
        const QString content = widget->isVisible() ? contentOf(widget) : QString();
        constexpr int frame = Style::spaceXs;
        const QRect rect = widget->rect().adjusted(frame, frame, -frame, -frame);
        if (content.isEmpty())
            continue;
        const bool isWhole = QRegion(rect).subtracted(widget->visibleRegion()).isEmpty();
        // A row of a list may be half out of it and shorten its texts.
        if (!isInList(widget) && (!isWhole || isShort(widget)))
            faults << u"“%1” is cut"_s.arg(content);
        if (!isWhole)
            continue;
        ++parts;
        const QRect where(widget->mapTo(&shown, rect.topLeft()) * scale, rect.size() * scale);
        const double contrast = contrastIn(image.copy(where));
        if (contrast < (widget->property("imageName").isValid() ? readableIcon : colors::readable))
            faults << u"“%1” has a contrast of %2"_s.arg(content).arg(contrast);
    }
    return parts > 2 ? faults : QStringList{u"there is nothing to read"_s};
}

} // namespace

/// Reads every screen, in each of its colours and sizes.
class ScenesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { Style::install(); }
    void cleanup() { Style::setAppearance({}); }

    void everyTextCanBeRead()
    {
        QStringList faults;
        for (const Appearance &appearance : {Appearance{}, Appearance{.isDark = true},
                                             Appearance{.textScale = 1.5}, Appearance{.textScale = 2}}) {
            Style::setAppearance(appearance);
            scenes::showAll([&](QWidget &shown, const QString &name) {
                const QSize least = shown.minimumSizeHint();
                if (least.expandedTo(room) != room)
                    faults << u"%1 needs %2 x %3"_s.arg(name).arg(least.width()).arg(least.height());
                for (const QString &fault : faultsOf(shown))
                    faults << u"%1, text x %2: %3"_s.arg(name).arg(appearance.textScale).arg(fault);
            });
        }
        QVERIFY2(faults.isEmpty(), qPrintable(faults.join(u'\n')));
    }

    void everythingIsReachedOnALowScreen()
    {
        FakeSecretStore::install();
        FakeVPNManager::install();
        QStringList faults;
        for (const QScreen *const low : QGuiApplication::screens()) {
            for (const auto &[screen, first] : {std::pair(screens::login, u"usernameTextfield"_s),
                                                std::pair(screens::home, u"connectButton"_s),
                                                std::pair(screens::forgot, u"dummyTextField"_s),
                                                std::pair(screens::settings, u"changePasswordButton"_s)}) {
                const std::shared_ptr<Storyboard> storyboard = makeMainStoryboard();
                const std::unique_ptr<Window> window(
                    Window::windowWithContentViewController(storyboard->instantiate(screens::settings)));
                window->setStyleMask(window->styleMask() & ~WindowStyleMaskResizable);
                window->move(low->geometry().topLeft());
                window->makeKeyAndOrderFront();
                QVERIFY(QTest::qWaitForWindowActive(window.get()));
                window->contentViewController()->replaceBy(screen);
                QCOMPARE(window->focusWidget() == nullptr ? QString() : window->focusWidget()->objectName(),
                         first);
                for (const QString &fault : unreachableIn(*window, low->availableSize()))
                    faults << u"%1, %2: %3"_s.arg(low->name(), screen.name, fault);
            }
        }
        QVERIFY2(faults.isEmpty(), qPrintable(faults.join(u'\n')));
    }

    void aFontWithWideLettersWidensNoWindow()
    {
        const QFont japanese(u"Noto Sans CJK JP"_s);
        if (!QFontInfo(japanese).family().contains(u"CJK"_s))
            QSKIP("fonts-noto-cjk is not installed");
        const auto restoreFont = qScopeGuard([font = QApplication::font()] { QApplication::setFont(font); });
        QApplication::setFont(japanese);
        for (const ScreenIdentifier &screen : {screens::home, screens::login}) {
            const std::unique_ptr<Window> window(
                Window::windowWithContentViewController(makeMainStoryboard()->instantiate(screen)));
            window->show();
            QCOMPARE(window->width(), 400);
        }
    }

    void anAlertIsPlainWholeAndFits()
    {
        const QString markup = u"<b>No</b> <a href='https://x'>link</a> <img src='/usr/x.png'>"_s;
        for (const QString &text : {markup, QString(300, u'W'), u"a\n\nb"_s, u"word "_s.repeated(1'600'000),
                                    QString(8'000'000, u'W')}) {
            QElapsedTimer timer;
            timer.start();
            MessageDialog alert(nullptr, u"Alert"_s, text, u"OK"_s);
            alert.move(QGuiApplication::screens().at(3)->geometry().topLeft());
            alert.show();
            QCoreApplication::processEvents();
            alert.grab();
            auto *const view = alert.findChild<QPlainTextEdit *>();
            QVERIFY2(timer.elapsed() < 2000, qPrintable(QString::number(timer.elapsed())));
            QString shown = view->toPlainText();
            QVERIFY(text == shown || (text.size() > 4000 && text == shown.remove(u'\n')));
            // A blank at the end of a line may stand out.
            QVERIFY(view->horizontalScrollBar()->maximum() < view->fontMetrics().horizontalAdvance(u'W'));
            QVERIFY(view->width() >= view->fontMetrics().horizontalAdvance(u'W') * 10);
            QVERIFY2(alert.height() < 700, qPrintable(QString::number(alert.height())));
            // Only a text that scrolls takes the keyboard.
            const bool scrolls = text.size() > 1000;
            QCOMPARE(view->verticalScrollBar()->maximum() > 0, scrolls);
            QTest::keyClick(&alert, Qt::Key_Tab);
            QCOMPARE(alert.focusWidget() == view, scrolls);
            view->moveCursor(QTextCursor::End);
            QVERIFY(view->viewport()->rect().contains(view->cursorRect().center()));
        }
    }

    void tonesOfTextAndOutlinesHaveTheirContrast()
    {
        using P = QPalette;
        P yellowOnBlack(Qt::black);
        yellowOnBlack.setColor(P::WindowText, Qt::yellow);
        const P lightDesktop(QColor(0xef, 0xf0, 0xf1)), darkDesktop(QColor(0x31, 0x36, 0x3b));
        for (const bool high : {false, true}) {
            Style::setAppearance({.hasHighContrast = high});
            const double readable = high ? colors::highContrast : colors::readable;
            const auto check = [](const QColor &text, const QColor &ground, double wanted) {
                QVERIFY2(colors::contrast(text, ground) >= wanted,
                         qPrintable(text.name() + u" on "_s + ground.name()));
            };
            for (const P &desktop :
                 {colors::lightPalette(), colors::darkPalette(), lightDesktop, darkDesktop, yellowOnBlack}) {
                const P palette = colors::withAccent(desktop);
                // The quiet texts on a fill: the latency in the selected row, lines on the status card.
                for (const P &ground :
                     {palette, colors::onFill(palette.color(P::Highlight), palette.color(P::HighlightedText)),
                      colors::onFill(colors::protectedFill(palette), colors::onProtected())}) {
                    check(ground.color(P::WindowText), ground.color(P::Window), readable);
                    check(colors::quietText(ground), ground.color(P::Window), readable);
                }
                const double outlined = high ? readable : readableIcon;
                check(colors::controlOutline(palette), palette.color(P::Window), outlined);
                QVERIFY(!high || colors::outline(palette) == colors::controlOutline(palette));
            }
            for (const P &own : {colors::lightPalette(), colors::darkPalette()}) {
                check(own.color(P::ToolTipText), own.color(P::ToolTipBase), readable);
                check(own.color(P::PlaceholderText), own.color(P::Window), readable);
            }
        }
    }

    void whatIsShownFollowsTheDesktop()
    {
        scenes::showAll([](QWidget &shown, const QString &name) {
            if (name != u"connected"_s)
                return;
            const auto *const card = shown.findChild<StatusCard *>();
            const auto *const status = shown.findChild<QLabel *>(u"connectStatusText"_s);
            const int height = status->sizeHint().height();
            for (const bool isDark : {true, false}) {
                Style::setAppearance({.isDark = isDark});
                QTRY_COMPARE(card->palette().color(QPalette::Window),
                             colors::protectedFill(isDark ? colors::darkPalette() : colors::lightPalette()));
            }
            const QColor fill = card->palette().color(QPalette::Window);
            Style::setAppearance({.hasHighContrast = true, .textScale = 1.5});
            QTRY_VERIFY(status->sizeHint().height() > height * 1.3);
            QVERIFY(card->palette().color(QPalette::Window) != fill);
            Style::setAppearance({});
            QTRY_COMPARE(status->sizeHint().height(), height);
        });
    }
};

QTEST_MAIN(ScenesTest)
#include "ScenesTest.moc"
