#include "app/MissingParts.h"
#include "app/MainStoryboard.h"
#include "tests/support/FakeSecretStore.h"
#include "tests/support/OutputCapture.h"
#include "ui/NoticeStrip.h"
#include "ui/Screen.h"
#include "ui/Window.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDir>
#include <QLabel>
#include <QLayout>
#include <QProcess>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

using Missing = SystemReadiness::Missing;

const QString daemonName = u"org.freedesktop.NetworkManager"_s;
const QString keyringName = u"org.freedesktop.secrets"_s;

bool write(const QString &path, const QByteArray &content)
{
    // In one step, as a package is installed.
    QFile file(path + u".new"_s);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.flush() &&
           file.rename(path);
}

/// The machine: one bus for the session's and the system's part, services that it can start, plugins.
class Machine
{
public:
    Machine()
    {
        QDir(root.path()).mkdir(u"services"_s);
        const QByteArray folder = root.path().toUtf8();
        write(root.filePath(u"bus.conf"_s),
              "<busconfig><type>session</type><listen>unix:path=" + folder + "/bus</listen><servicedir>" +
                  folder +
                  "/services</servicedir><policy context='default'><allow send_destination='*' "
                  "eavesdrop='true'/>"
                  "<allow eavesdrop='true'/><allow own='*'/></policy></busconfig>");
        for (const char *variable : {"DBUS_SESSION_BUS_ADDRESS", "DBUS_SYSTEM_BUS_ADDRESS"})
            qputenv(variable, address().toUtf8());
        startBus();
    }
    ~Machine() { stopBus(); }

    void startBus()
    {
        daemon.start(u"dbus-daemon"_s,
                     {u"--nofork"_s, u"--print-address"_s, u"--config-file"_s, root.filePath(u"bus.conf"_s)});
        if (!daemon.waitForReadyRead())
            qFatal("no bus: %s", daemon.readAllStandardError().constData());
    }
    void stopBus()
    {
        daemon.kill();
        daemon.waitForFinished();
    }

    QString address() const { return u"unix:path="_s + root.filePath(u"bus"_s); }
    QString plugins() const { return root.filePath(u"lib/NetworkManager/VPN"_s); }
    QString pluginFile() const { return plugins() + u"/nm-vpnc-service.name"_s; }
    void installPlugin() const
    {
        QDir().mkpath(plugins());
        write(pluginFile(), "[VPN Connection]\nname=vpnc\nservice=org.freedesktop.NetworkManager.vpnc\n");
    }
    void installKeyring() const
    {
        write(root.filePath(u"services/secrets.service"_s),
              "[D-BUS Service]\nName=org.freedesktop.secrets\nExec=/bin/false\n");
    }

private:
    QTemporaryDir root;
    QProcess daemon;
};

class FakeCollection final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Secret.Collection")
    Q_PROPERTY(bool Locked MEMBER locked)

public:
    bool locked = true;
};

/// Somebody on the bus that has the daemon's name, the keyring's, or both.
class FakeServices final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Secret.Service")

public:
    explicit FakeServices(const Machine &machine)
        : bus(QDBusConnection::connectToBus(machine.address(), u"fakes"_s))
    {
        bus.registerObject(u"/org/freedesktop/secrets"_s, this, QDBusConnection::ExportAllContents);
        bus.registerObject(collectionPath, &collection, QDBusConnection::ExportAllProperties);
    }
    ~FakeServices() override { QDBusConnection::disconnectFromBus(u"fakes"_s); }

    void own(const QString &name) { QVERIFY(bus.registerService(name)); }
    void release(const QString &name) { QVERIFY(bus.unregisterService(name)); }

    void setLocked(bool locked)
    {
        collection.locked = locked;
        QDBusMessage news = QDBusMessage::createSignal(collectionPath, u"org.freedesktop.DBus.Properties"_s,
                                                       u"PropertiesChanged"_s);
        news << u"org.freedesktop.Secret.Collection"_s << QVariantMap{{u"Locked"_s, locked}} << QStringList();
        bus.send(news);
    }
    void setDefault(bool exists)
    {
        hasDefault = exists;
        QDBusMessage news =
            QDBusMessage::createSignal(u"/org/freedesktop/secrets"_s, u"org.freedesktop.Secret.Service"_s,
                                       exists ? u"CollectionCreated"_s : u"CollectionDeleted"_s);
        news << QVariant::fromValue(QDBusObjectPath(collectionPath));
        bus.send(news);
    }

    int prompts = 0;

public Q_SLOTS:
    QDBusObjectPath ReadAlias(const QString &alias)
    {
        return QDBusObjectPath(hasDefault && alias == u"default"_s ? collectionPath : u"/"_s);
    }
    void Unlock(const QList<QDBusObjectPath> &) { ++prompts; }

private:
    const QString collectionPath = u"/org/freedesktop/secrets/collection/login"_s;
    QDBusConnection bus;
    FakeCollection collection;
    bool hasDefault = true;
};

QStringList textsOn(const NoticeStrip &strip)
{
    QStringList texts;
    for (const QLabel *const label : strip.findChildren<QLabel *>())
        texts << label->accessibleName();
    return texts;
}

} // namespace

class MissingPartsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isSaidUntilItIsThere();
    void isSaidWhenItGoesForGood();
    void aWindowMakesRoomForWhatIsSaid();
};

void MissingPartsTest::isSaidUntilItIsThere()
{
    const Machine machine;
    FakeServices services(machine);
    OutputCapture output;
    QWidget window;
    const NoticeStrip before(&window);
    const SystemReadiness readiness({machine.plugins()});
    const MissingParts parts(readiness);
    QTRY_COMPARE(readiness.missing(),
                 (QList<Missing>{Missing::NetworkManager, Missing::VPNPlugin, Missing::SecretService}));
    QCOMPARE(output.lines(), (QStringList{u"log No NetworkManager: install or start network-manager"_s,
                                          u"log No VPN plugin: install network-manager-vpnc"_s,
                                          u"log No keyring: install gnome-keyring"_s}));
    const NoticeStrip later(&window);
    for (const NoticeStrip *const strip : {&before, &later})
        QCOMPARE(textsOn(*strip), (QStringList{u"No NetworkManager: install network-manager-vpnc"_s,
                                               u"No keyring: install gnome-keyring"_s}));
    QVERIFY(!before.isHidden());

    // Each goes with its cause, whatever it is that ends it.
    services.own(daemonName);
    QTRY_COMPARE(readiness.missing(), (QList<Missing>{Missing::VPNPlugin, Missing::SecretService}));
    QCOMPARE(textsOn(later).first(), u"No VPN plugin: install network-manager-vpnc"_s);
    machine.installKeyring();
    QTRY_COMPARE(readiness.missing(), QList<Missing>{Missing::VPNPlugin});
    machine.installPlugin();
    QTRY_VERIFY(readiness.missing().isEmpty());
    QVERIFY(before.isHidden() && later.isHidden());

    output.clear();
    services.own(keyringName);
    QTRY_COMPARE(readiness.missing(), QList<Missing>{Missing::UnlockedKeyring});
    services.setLocked(false);
    QTRY_VERIFY(readiness.missing().isEmpty());
    services.setDefault(false);
    QTRY_COMPARE(readiness.missing(), QList<Missing>{Missing::DefaultKeyring});
    services.setDefault(true);
    QTRY_VERIFY(readiness.missing().isEmpty());
    QCOMPARE(output.lines(), (QStringList{u"log The keyring is locked: unlock it or restart Velmora"_s,
                                          u"log No default keyring: create one with seahorse"_s}));
    QCOMPARE(services.prompts, 0);
}

void MissingPartsTest::isSaidWhenItGoesForGood()
{
    Machine machine;
    machine.installPlugin();
    auto services = std::make_unique<FakeServices>(machine);
    services->own(daemonName);
    services->own(keyringName);
    const SystemReadiness readiness({machine.plugins()});
    QList<QList<Missing>> told;
    connect(&readiness, &SystemReadiness::missingChanged, this, [&] { told << readiness.missing(); });
    QTRY_COMPARE(told, (QList<QList<Missing>>{{Missing::UnlockedKeyring}}));

    // A daemon that is restarted was not missing.
    services->release(daemonName);
    services->own(daemonName);
    QVERIFY(QFile::remove(machine.pluginFile()));
    QTRY_COMPARE(told.last(), (QList<Missing>{Missing::VPNPlugin, Missing::UnlockedKeyring}));
    QCOMPARE(told.size(), 2);
    services->release(daemonName);
    QTRY_COMPARE(told.last(),
                 (QList<Missing>{Missing::NetworkManager, Missing::VPNPlugin, Missing::UnlockedKeyring}));
    services->own(daemonName);
    QTRY_COMPARE(told.last().size(), 2);

    // With the bus all that is on it goes; the system's may come back.
    services.reset();
    machine.stopBus();
    QTRY_COMPARE(told.last(),
                 (QList<Missing>{Missing::NetworkManager, Missing::VPNPlugin, Missing::SecretService}));
    machine.startBus();
    services = std::make_unique<FakeServices>(machine);
    services->own(daemonName);
    QTRY_COMPARE_WITH_TIMEOUT(told.last(), (QList<Missing>{Missing::VPNPlugin, Missing::SecretService}),
                              15000);
}

void MissingPartsTest::aWindowMakesRoomForWhatIsSaid()
{
    const auto end = qScopeGuard([font = QApplication::font()] {
        NoticeStrip::setLines({});
        qDeleteAll(Window::windows());
        QApplication::setFont(font);
    });
    QFont large = QApplication::font();
    large.setPointSizeF(large.pointSizeF() * 2);
    QApplication::setFont(large);
    FakeSecretStore::install();
    Window *const window =
        Window::windowWithContentViewController(makeMainStoryboard()->instantiate(u"LoginVC"_s));
    window->makeKeyAndOrderFront();
    QVERIFY(QTest::qWaitForWindowExposed(window));
    const auto *strip = window->findChild<NoticeStrip *>();
    const auto *button = window->findChild<QWidget *>(u"loginButton"_s);
    QVERIFY(!strip->isVisible());
    const int before = button->height();
    NoticeStrip::setLines(MissingParts::lines({Missing::NetworkManager, Missing::UnlockedKeyring}));
    QTRY_VERIFY(strip->isVisible() &&
                strip->height() >= strip->layout()->totalHeightForWidth(strip->width()));
    QCOMPARE(button->height(), before);
    QTRY_VERIFY(window->height() >=
                window->contentViewController()->loadedView()->minimumSizeHint().height());
    NoticeStrip::setLines({});
    QTRY_VERIFY(!strip->isVisible());
}

QTEST_MAIN(MissingPartsTest)
#include "MissingPartsTest.moc"
