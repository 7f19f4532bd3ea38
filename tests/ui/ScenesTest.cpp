#include "api/ServiceManager.h"
#include "app/MainStoryboard.h"
#include "app/MissingParts.h"
#include "tests/support/FakeSecretStore.h"
#include "tests/support/FakeVPNManager.h"
#include "ui/Alert.h"
#include "ui/Colors.h"
#include "ui/ModalPanel.h"
#include "ui/NoticeStrip.h"
#include "ui/Screen.h"
#include "ui/Storyboard.h"
#include "ui/Style.h"
#include "ui/TableView.h"
#include "ui/Window.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QScrollBar>
#include <QTest>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

/// Drawn so large, a stroke is wide enough to show its own colour between its soft edges.
constexpr int scale = 4;
/// The least contrast of what is not text (WCAG 2, success criterion 1.4.11).
constexpr double readableIcon = 3;
const std::pair<QString, Appearance> looks[] = {{u"light"_s, {}},
                                                {u"dark"_s, {.isDark = true}},
                                                {u"high-contrast"_s, {.hasHighContrast = true}},
                                                {u"large"_s, {.textScale = 1.5}},
                                                {u"large-right-to-left"_s, {.textScale = 2}},
                                                {u"light-again"_s, {}}};

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
    for (int i = 0; i < image.width() * image.height(); ++i)
        ++counts[image.pixel(i % image.width(), i / image.width())];
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

/// True for a text that has less room than it needs. A row of a list may shorten its texts.
bool isCut(const QWidget *widget)
{
    const auto *label = qobject_cast<const QLabel *>(widget);
    const bool isWhole = label != nullptr || qobject_cast<const QPushButton *>(widget) != nullptr;
    QSize needed = isWhole ? widget->sizeHint() : widget->minimumSizeHint();
    if (label != nullptr && label->wordWrap())
        needed = QSize(0, label->heightForWidth(widget->width()));
    return !isInList(widget) && widget->size().expandedTo(needed) != widget->size();
}

/// Goes through the controls as a person with a keyboard does.
QStringList unreachableIn(Window &window, const QSize &space)
{
    const QSize outer = window.frameGeometry().size();
    QStringList faults;
    if (outer.boundedTo(space) != outer ||
        (outer.height() == space.height() && window.minimumSize() == window.maximumSize()))
        faults << u"%1 x %2 is too large or cannot be resized"_s.arg(outer.width()).arg(outer.height());
    const QWidget *const first = window.focusWidget();
    do {
        const QWidget *const control = window.focusWidget();
        const QRect rect(control->mapTo(&window, QPoint()), control->size());
        if (!window.rect().contains(rect) && !isInList(control))
            faults << control->objectName() + u" is out of sight"_s;
        QTest::keyClick(&window, Qt::Key_Tab);
    } while (window.focusWidget() != first);
    for (const QWidget *const part :
         window.contentViewController()->loadedView()->findChildren<QWidget *>()) {
        if (part->isVisible() && !contentOf(part).isEmpty() && isCut(part))
            faults << u"“%1” is cut"_s.arg(contentOf(part));
    }
    return faults;
}

QStringList faultsOf(QWidget &shown, bool hasHighContrast)
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
        if (isCut(widget) || (!isWhole && !isInList(widget)))
            faults << u"“%1” is cut"_s.arg(content);
        if (!isWhole)
            continue;
        ++parts;
        const QRect where(widget->mapTo(&shown, rect.topLeft()) * scale, rect.size() * scale);
        const double contrast = contrastIn(image.copy(where));
        const double wanted = widget->property("imageName").isValid() ? readableIcon
                              : hasHighContrast                       ? colors::highContrast
                                                                      : colors::readable;
        if (contrast < wanted)
            faults << u"“%1” has a contrast of %2"_s.arg(content).arg(contrast);
    }
    return parts > 2 ? faults : QStringList{u"there is nothing to read"_s};
}

/// The lists with `count` locations, most of them of the longest that there can be.
void fill(const QWidget &home, qsizetype count)
{
    const std::pair<QString, QString> samples[] = {
        {u"AE"_s, u"الإمارات العربية المتحدة، دبي"_s},
        {u"DE"_s, u"Germany, Berlin"_s},
        {u"VC"_s, u"Saint Vincent and the Grenadines, Kingstown, North Side"_s}};
    ServiceManager &store = ServiceManager::shared();
    store = {};
    for (qsizetype id = 0; id < count; ++id) {
        const auto &[country, name] = samples[std::min<qsizetype>(id, 2)];
        const Service service{id, name, country, u"192.0.2.1"_s, QList<double>(3, 9999.9)};
        store.allService << service;
        if (id % 3 == 1)
            store.favService << id;
        else
            store.countryService << service;
    }
    for (TableView *const list : home.findChildren<TableView *>())
        list->reloadData();
}

} // namespace

/// Every screen, in each of its states and looks; with VELMORA_SHOTS, pictures of them in this folder.
class ScenesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { Style::install(); }
    void cleanup() { QVERIFY2(faults.isEmpty(), qPrintable(std::exchange(faults, {}).join(u'\n'))); }

    void everyTextCanBeRead()
    {
        for (const char *name :
             {"LoginVC", "ForgotVC", "SettingsVC", "Notification1VC", "Notification2VC", "Notification3VC"})
            present(*windowWith(QLatin1String(name)), name);
        for (const auto &[name, locations, status, button] :
             {std::tuple("home-empty", 0, VPNStatus::Disconnected, ""),
              {"home-connected", 12, VPNStatus::Connected, ""},
              {"home-update", 12, VPNStatus::Connected, "button1"},
              {"home-missing", 12, VPNStatus::Reasserting, ""},
              {"home-install", 300, VPNStatus::Disconnected, "updateButton"},
              {"home-long", 300, VPNStatus::Disconnected, ""}}) {
            const std::unique_ptr<Window> home = windowWith(u"HomeVC"_s);
            fill(*home, locations);
            home->findChild<TableView *>(u"countries"_s)->selectRow(2);
            vpn.post(status);
            if (auto *const opener = home->findChild<QAbstractButton *>(QLatin1String(button)))
                opener->click();
            if (status == VPNStatus::Reasserting)
                NoticeStrip::setLines(
                    MissingParts::lines({MissingPart::NetworkManager, MissingPart::UnlockedKeyring}));
            present(*home, name);
            NoticeStrip::setLines({});
        }
        MessageDialog alert(nullptr, u"Alert"_s, u"The password is wrong. "_s.repeated(50), u"OK"_s);
        present(alert, "alert");
    }

    void everythingIsReachedOnALowScreen()
    {
        // Its letters are so wide that widths in letters are far too large.
        QApplication::setFont(QFont(u"Noto Sans CJK JP"_s));
        for (const QScreen *const low : QGuiApplication::screens()) {
            for (const auto &[screen, first] : {std::pair(screens::login, u"usernameTextfield"_s),
                                                std::pair(screens::home, u"connectButton"_s),
                                                std::pair(screens::forgot, u"dummyTextField"_s),
                                                std::pair(screens::settings, u"changePasswordButton"_s)}) {
                const std::unique_ptr<Window> window = windowWith(u"SettingsVC"_s);
                window->setStyleMask(window->styleMask() & ~WindowStyleMaskResizable);
                window->move(low->geometry().topLeft());
                window->makeKeyAndOrderFront();
                QVERIFY(QTest::qWaitForWindowActive(window.get()));
                window->contentViewController()->replaceBy(screen);
                QCOMPARE(window->focusWidget() == nullptr ? QString() : window->focusWidget()->objectName(),
                         first);
                QVERIFY(window->width() <= 400);
                for (int round = 0; round < 4; ++round)
                    QCoreApplication::processEvents();
                for (const QString &fault : unreachableIn(*window, low->availableSize()))
                    faults << u"%1, %2: %3"_s.arg(low->name(), screen.name, fault);
            }
        }
    }

    void altUnderlinesLettersOnScreen()
    {
        const std::unique_ptr<Window> window = windowWith(u"LoginVC"_s);
        window->makeKeyAndOrderFront();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        const auto onScreen = [&window] {
            QTest::qWait(50);
            return window->screen()->grabWindow(window->winId()).toImage();
        };
        const QImage plain = onScreen();
        QTest::keyPress(window.get(), Qt::Key_Alt);
        QVERIFY(onScreen() != plain);
        QTest::keyRelease(window.get(), Qt::Key_Alt);
        QCOMPARE(onScreen(), plain);
    }

    void anAlertIsPlainWholeAndFits()
    {
        for (const QString &text :
             {u"<b>No</b> <a href='https://x'>link</a> <img src='/usr/x.png'>"_s, u"a\n\nb"_s,
              QString(300, u'W'), u"word "_s.repeated(1'600'000), QString(8'000'000, u'W')}) {
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

    void tonesKeepTheirContrastWithADesktopsPalette()
    {
        for (const QPalette &palette : {QPalette(0xeff0f1), QPalette(0x31363b), QPalette(Qt::black),
                                        colors::lightPalette(), colors::darkPalette()}) {
            const QColor ground = palette.color(QPalette::Window);
            QVERIFY(colors::contrast(colors::quietText(palette), ground) >= colors::readable);
            QVERIFY(colors::contrast(colors::controlOutline(palette), ground) >= readableIcon);
        }
    }

private:
    std::unique_ptr<Window> windowWith(const QString &screen)
    {
        return std::unique_ptr<Window>(
            Window::windowWithContentViewController(storyboard->instantiateNamed(screen)));
    }

    /// Collects the faults of these texts in all looks, each taken on while the screen is shown.
    void present(QWidget &shown, const char *name)
    {
        shown.show();
        int letterHeight = 0;
        for (const auto &[lookName, look] : looks) {
            const QString scene = QLatin1String(name) + u'-' + lookName;
            Style::setAppearance(look);
            QApplication::setLayoutDirection(look.textScale > 1.5 ? Qt::RightToLeft : Qt::LeftToRight);
            // Each round of layouting may ask for another one.
            for (int round = 0; round < 4; ++round)
                QCoreApplication::processEvents();
            const int letters = shown.findChild<QLabel *>()->fontMetrics().height();
            if (std::exchange(letterHeight, letters) >= letters && look.textScale > 1)
                faults << scene + u" has not grown"_s;
            for (const QString &fault : faultsOf(shown, look.hasHighContrast))
                faults << scene + u": "_s + fault;
            if (qEnvironmentVariableIsSet("VELMORA_SHOTS"))
                shown.grab().save(qEnvironmentVariable("VELMORA_SHOTS") + u'/' + scene + u".png"_s);
        }
    }

    FakeSecretStore &store = FakeSecretStore::install();
    FakeVPNManager &vpn = FakeVPNManager::install();
    std::shared_ptr<Storyboard> storyboard = makeMainStoryboard();
    QStringList faults;
};

QTEST_MAIN(ScenesTest)
#include "ScenesTest.moc"
