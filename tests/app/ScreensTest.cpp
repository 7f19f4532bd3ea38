#include "app/MainStoryboard.h"
#include "app/SettingsVC.h"
#include "connection/HomeVC.h"
#include "tests/support/FakeSecretStore.h"
#include "tests/support/FakeVPNManager.h"
#include "tests/support/ScriptedServer.h"
#include "ui/Storyboard.h"
#include "ui/Window.h"

#include <QAbstractButton>
#include <QTest>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

void click(const Window *window, const QString &name)
{
    window->findChild<QAbstractButton *>(name)->click();
}

} // namespace

/// How the real screens lead to one another.
class ScreensTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        FakeSecretStore::install();
        FakeVPNManager::install();
        storyboard = makeMainStoryboard();
    }

    void cleanup() { qDeleteAll(Window::windows()); }

    /// How they come about is left to the walk through every screen; this is what it cannot see.
    void homePresentsItsNoticesOnceAndModallyWhereStated()
    {
        const Window *const window = open(u"HomeVC"_s);
        for (const auto &[button, modality] :
             {std::pair(u"button2"_s, Qt::ApplicationModal), std::pair(u"button3"_s, Qt::ApplicationModal),
              std::pair(u"recentButton"_s, Qt::NonModal)}) {
            click(window, button);
            // One of those that can be left open is enough: a second press brings it to the front.
            if (modality == Qt::NonModal)
                click(window, button);
            QCOMPARE(Window::windows().size(), 2);
            QCOMPARE(Window::windows().constLast()->windowModality(), modality);
            click(Window::windows().constLast(), u"closeButton"_s);
            QTRY_COMPARE(Window::windows().size(), 1);
        }
    }

    void aScreenThatIsMissingOrOfAnotherClassLeadsNowhere_data()
    {
        QTest::addColumn<QString>("identifier");
        QTest::newRow("absent") << u"Unused"_s;
        QTest::newRow("of another class") << QString();
    }

    void aScreenThatIsMissingOrOfAnotherClassLeadsNowhere()
    {
        QFETCH(QString, identifier);
        const std::shared_ptr<Storyboard> odd = Storyboard::make();
        odd->add(u"HomeVC"_s, u"HomeVC"_s, Screen::make<HomeVC>);
        for (const QString &name : {u"Notification1VC"_s, u"Notification2VC"_s, u"SettingsVC"_s})
            odd->add(identifier.isEmpty() ? name : identifier, u"OtherVC"_s, Screen::make<SettingsVC>);
        storyboard = odd;
        const Window *const window = open(u"HomeVC"_s);
        for (const QString &button : {u"button2"_s, u"button3"_s, u"settingsButton"_s, u"recentButton"_s})
            click(window, button);
        QVERIFY(std::dynamic_pointer_cast<HomeVC>(window->contentViewController()) != nullptr);
        QCOMPARE(Window::windows().size(), 1);
    }

private:
    Window *open(const QString &identifier)
    {
        Window *const window = Window::windowWithContentViewController(storyboard->instantiate(identifier));
        window->makeKeyAndOrderFront();
        return window;
    }

    std::shared_ptr<Storyboard> storyboard;
    ScriptedServer server;
};

QTEST_MAIN(ScreensTest)
#include "ScreensTest.moc"
