#include "app/MissingParts.h"
#include "app/MainStoryboard.h"
#include "platform/desktop/BusNameWatch.h"
#include "tests/support/FakeSecretStore.h"
#include "tests/support/OutputCapture.h"
#include "ui/NoticeStrip.h"
#include "ui/Screen.h"
#include "ui/Window.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QDir>
#include <QLayout>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <utility>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

using Missing = SystemReadiness::Missing;

/// One bus for the session's and the system's part; it can start a keyring.
class Bus
{
public:
    Bus()
    {
        write(u"bus.conf"_s, "<busconfig><listen>" + address() + "</listen><servicedir>" +
                                 folder.path().toUtf8() +
                                 "</servicedir><policy context='default'><allow send_destination='*'/>"
                                 "<allow receive_sender='*'/><allow own='*'/></policy></busconfig>");
        write(u"keyring.service"_s, "[D-BUS Service]\nName=org.freedesktop.secrets\nExec=/bin/false\n");
        for (const char *variable : {"DBUS_SESSION_BUS_ADDRESS", "DBUS_SYSTEM_BUS_ADDRESS"})
            qputenv(variable, address());
        daemon.start(u"dbus-daemon"_s, {u"--nofork"_s, u"--print-address"_s, u"--config-file"_s,
                                        folder.filePath(u"bus.conf"_s)});
        if (!daemon.waitForReadyRead())
            qFatal("no bus: %s", daemon.readAllStandardError().constData());
    }
    ~Bus()
    {
        daemon.kill();
        daemon.waitForFinished();
    }

    QByteArray address() const { return "unix:path=" + folder.filePath(u"bus"_s).toUtf8(); }

private:
    void write(const QString &name, const QByteArray &content) const
    {
        QFile file(folder.filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }

    QTemporaryDir folder;
    QProcess daemon;
};

/// Somebody on the bus that has the daemon's name, the keyring's, or both.
class FakeServices final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Secret.Service")

public:
    explicit FakeServices(const Bus &at)
        : bus(QDBusConnection::connectToBus(QString::fromUtf8(at.address()), u"fakes"_s))
    {
        bus.registerObject(u"/org/freedesktop/secrets"_s, this, QDBusConnection::ExportAllContents);
    }
    ~FakeServices() override { QDBusConnection::disconnectFromBus(u"fakes"_s); }

    QDBusConnection bus;
    QDBusObjectPath collection{u"/org/freedesktop/secrets/collection/login"_s};
    int asked = 0;

public Q_SLOTS:
    QDBusObjectPath ReadAlias(const QString &)
    {
        ++asked;
        return collection;
    }

Q_SIGNALS:
    void CollectionDeleted(const QDBusObjectPath &path);
};

} // namespace

/// What the lab's world without parts cannot show.
class MissingPartsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isSaidWhenItGoesForGood()
    {
        const QString daemonName = u"org.freedesktop.NetworkManager"_s;
        const QString keyringName = u"org.freedesktop.secrets"_s;
        const Bus bus;
        FakeServices services(bus);
        services.bus.registerService(daemonName);
        OutputCapture output;
        const QTemporaryDir plugins;
        const SystemReadiness readiness({plugins.path()});
        const MissingParts parts(readiness);
        // A keyring that the bus would start is not missing.
        QTRY_COMPARE(readiness.missing(), QList<Missing>{Missing::VPNPlugin});
        services.bus.registerService(keyringName);
        QTRY_COMPARE(services.asked, 1);

        // A daemon that is restarted was not missing, though for a moment its name has no owner.
        const BusNameWatch watch(BusNameWatch::Bus::System, daemonName.toUtf8());
        QSignalSpy seen(&watch, &BusNameWatch::changed);
        QVERIFY(seen.wait());
        services.bus.unregisterService(daemonName);
        QVERIFY(seen.wait());
        services.bus.registerService(daemonName);

        // A default collection that is deleted is.
        Q_EMIT services.CollectionDeleted(std::exchange(services.collection, QDBusObjectPath(u"/"_s)));
        QTRY_COMPARE(readiness.missing(), (QList<Missing>{Missing::VPNPlugin, Missing::DefaultKeyring}));
        services.bus.unregisterService(keyringName);
        QTRY_COMPARE(readiness.missing(), QList<Missing>{Missing::VPNPlugin});
        services.bus.unregisterService(daemonName);
        QTRY_COMPARE(readiness.missing(), (QList<Missing>{Missing::NetworkManager, Missing::VPNPlugin}));
        QCOMPARE(output.lines(), (QStringList{u"log No VPN plugin: install network-manager-vpnc"_s,
                                              u"log No default keyring: create one with seahorse"_s,
                                              u"log No NetworkManager: install or start network-manager"_s}));
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
        NoticeStrip::setLines(MissingParts::lines({Missing::NetworkManager, Missing::UnlockedKeyring}));
        QTRY_VERIFY(strip->isVisible() &&
                    strip->height() >= strip->layout()->totalHeightForWidth(strip->width()));
        QCOMPARE(button->height(), before);
        QTRY_VERIFY(window->height() >=
                    window->contentViewController()->loadedView()->minimumSizeHint().height());
    }
};

QTEST_MAIN(MissingPartsTest)
#include "MissingPartsTest.moc"
