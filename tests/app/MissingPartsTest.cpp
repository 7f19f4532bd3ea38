#include "app/MissingParts.h"
#include "tests/support/FakeSecretStore.h"
#include "tests/support/FakeVPNManager.h"
#include "tests/support/OutputCapture.h"
#include "ui/NoticeStrip.h"

#include <QLabel>
#include <QTest>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

class MissingPartsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aPartIsReportedOnceItStaysAwayAndUntilItIsBack()
    {
        OutputCapture output;
        FakeSecretStore store;
        FakeVPNManager manager;
        QWidget screen;
        const NoticeStrip &strip = *new NoticeStrip(&screen);
        const auto shown = [&strip] {
            QStringList lines;
            for (const QWidget *const label : strip.findChildren<QLabel *>())
                lines << label->accessibleName();
            lines.removeAll(QString());
            return lines;
        };
        const QString locked = u"The keyring is locked: your sign-in is kept, and saved once you unlock it"_s;
        const QString plugin = u"No VPN plugin: install network-manager-vpnc"_s;
        manager.lack({MissingPart::VPNPlugin});
        {
            const MissingParts parts(store, manager);
            store.lack({MissingPart::UnlockedKeyring});
            QCOMPARE(shown(), QStringList{});
            QTRY_COMPARE(shown(), (QStringList{plugin, locked}));
            // A daemon that is restarted was not missing.
            manager.lack({MissingPart::NetworkManager, MissingPart::VPNPlugin});
            manager.lack({});
            QCOMPARE(shown(), QStringList{locked});
            store.lack({});
            QCOMPARE(shown(), QStringList{});
            manager.lack({MissingPart::NetworkManager, MissingPart::VPNPlugin});
            const QString daemon = u"No NetworkManager: install network-manager-vpnc"_s;
            QTRY_COMPARE(shown(), QStringList{daemon});
            QCOMPARE(output.lines(),
                     (QStringList{u"log "_s + plugin, u"log "_s + locked, u"log "_s + daemon}));
        }
        QCOMPARE(shown(), QStringList{});
    }
};

QTEST_MAIN(MissingPartsTest)
#include "MissingPartsTest.moc"
