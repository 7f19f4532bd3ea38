#include "app/MissingParts.h"
#include "app/MainStoryboard.h"
#include "tests/support/FakeSecretStore.h"
#include "tests/support/FakeVPNManager.h"
#include "tests/support/OutputCapture.h"
#include "ui/NoticeStrip.h"
#include "ui/Screen.h"
#include "ui/Window.h"

#include <QApplication>
#include <QLabel>
#include <QLayout>
#include <QTest>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

QStringList shownBy(const NoticeStrip &strip)
{
    QStringList lines;
    for (const QWidget *const label : strip.findChildren<QLabel *>())
        lines << label->accessibleName();
    lines.removeAll(QString());
    return lines;
}

} // namespace

class MissingPartsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void onlyWhatStaysAwayIsTold()
    {
        OutputCapture output;
        FakeSecretStore store;
        FakeVPNManager manager;
        manager.lack({MissingPart::VPNPlugin});
        QWidget screen;
        const NoticeStrip &strip = *new NoticeStrip(&screen);
        {
            const MissingParts parts(store, manager);
            const QString locked =
                u"The keyring is locked: your sign-in is kept, and saved once you unlock it"_s;
            store.lack({MissingPart::UnlockedKeyring});
            QCOMPARE(shownBy(strip), QStringList{});
            QTRY_COMPARE(shownBy(strip),
                         (QStringList{u"No VPN plugin: install network-manager-vpnc"_s, locked}));
            // A daemon that is restarted was not missing.
            manager.lack({MissingPart::NetworkManager, MissingPart::VPNPlugin});
            manager.lack({});
            QCOMPARE(shownBy(strip), QStringList{locked});
            store.lack({MissingPart::SecretService});
            QCOMPARE(shownBy(strip), QStringList{});
            QTRY_COMPARE(shownBy(strip), QStringList{u"No keyring: install one, such as gnome-keyring"_s});
            store.lack({MissingPart::DefaultKeyring});
            manager.lack({MissingPart::NetworkManager, MissingPart::VPNPlugin});
            QTRY_COMPARE(shownBy(strip),
                         (QStringList{u"No NetworkManager: install network-manager-vpnc"_s,
                                      u"The keyring is being set up: answer its question"_s}));
            QCOMPARE(output.lines(),
                     (QStringList{u"log No VPN plugin: install network-manager-vpnc"_s, u"log "_s + locked,
                                  u"log No keyring: install one, such as gnome-keyring"_s,
                                  u"log No NetworkManager: install or start network-manager"_s,
                                  u"log No VPN plugin: install network-manager-vpnc"_s,
                                  u"log The keyring is being set up: answer its question"_s}));
        }
        QCOMPARE(shownBy(strip), QStringList{});
    }

    void aWindowMakesRoomForWhatIsSaid()
    {
        QFont large = QApplication::font();
        large.setPointSizeF(large.pointSizeF() * 2);
        QApplication::setFont(large);
        FakeSecretStore::install();
        const std::unique_ptr<Window> window(
            Window::windowWithContentViewController(makeMainStoryboard()->instantiate(screens::login)));
        window->makeKeyAndOrderFront();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        const auto *strip = window->findChild<NoticeStrip *>();
        const auto *button = window->findChild<QWidget *>(u"loginButton"_s);
        const int before = button->height();
        NoticeStrip::setLines(
            {u"A line that is longer than the window is wide, so that it takes two rows"_s, u"Another"_s});
        QTRY_VERIFY(strip->isVisible() &&
                    strip->height() >= strip->layout()->totalHeightForWidth(strip->width()));
        QCOMPARE(button->height(), before);
        QTRY_VERIFY(window->height() >=
                    window->contentViewController()->loadedView()->minimumSizeHint().height());
    }
};

QTEST_MAIN(MissingPartsTest)
#include "MissingPartsTest.moc"
