#include "platform/vpn/SystemNetworkVPNManager.h"
#include "platform/vpn/VPNConnection.h"

#include <QDBusConnection>
#include <QDBusVirtualObject>
#include <QTest>

using namespace velmora;
using namespace Qt::StringLiterals;

namespace {

const QByteArray privateBus = qgetenv("DBUS_SESSION_BUS_ADDRESS");
const QByteArray noBus = "unix:path=/nonexistent";

/// Has NetworkManager's name on the bus and answers nothing.
class SilentDaemon final : public QDBusVirtualObject
{
public:
    SilentDaemon()
    {
        QDBusConnection connection = QDBusConnection::sessionBus();
        connection.registerVirtualObject(u"/"_s, this, QDBusConnection::SubPath);
        connection.registerService(u"org.freedesktop.NetworkManager"_s);
    }

    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &, const QDBusConnection &) override { return true; }
};

/// Asks for all that ends with an answer, and adds each error to the answers.
void askAll(VPNManager &manager, QStringList &answers)
{
    const auto note = [&answers](const std::optional<PlatformError> &error) {
        answers << (error ? error->domain + u' ' + QString::number(error->code) : QString());
    };
    manager.loadFromPreferences(note);
    manager.saveToPreferences(note);
    manager.connection().startVPNTunnel(
        [note](const VPNStartOutcome &outcome) { note(std::get<PlatformError>(outcome)); });
    manager.connection().stopVPNTunnel();
}

} // namespace

/// What the seam does while there is no daemon to do it. The private session bus passes for the system's.
class SystemNetworkAbsenceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isToldOfWhateverIsMissing_data()
    {
        QTest::addColumn<QByteArray>("bus");
        QTest::addColumn<QString>("error");
        QTest::addColumn<VPNStatus>("status");
        QTest::newRow("no bus") << noBus << u"g-io-error-quark 1"_s << VPNStatus::Disconnected;
        QTest::newRow("daemon that does not answer")
            << privateBus << u"g-io-error-quark 24"_s << VPNStatus::Invalid;
    }
    void isToldOfWhateverIsMissing()
    {
        QFETCH(const QByteArray, bus);
        QFETCH(const QString, error);
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", bus);
        SystemNetworkVPNManager manager;
        QCOMPARE(manager.connection().status(), VPNStatus::Invalid);
        QStringList answers;
        askAll(manager, answers);
        QVERIFY2(answers.isEmpty(), "answered within the call");
        QTRY_COMPARE_WITH_TIMEOUT(answers, QStringList(3, error), 20000);
        QTEST(manager.connection().status(), "status");
    }

    void endsInTheMiddle()
    {
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", privateBus);
        QStringList answers;
        auto manager = std::make_unique<SystemNetworkVPNManager>();
        askAll(*manager, answers);
        QCoreApplication::processEvents();
        manager.reset();
        // What the first one has left behind would run before this one is answered.
        SystemNetworkVPNManager next;
        QStringList later;
        askAll(next, later);
        QTRY_COMPARE_WITH_TIMEOUT(later.size(), 3, 20000);
        QVERIFY(answers.isEmpty());
    }

    void cleanupTestCase()
    {
        // What is on its way to the silent one arrives before the end: Qt would not let go of it.
        QDBusConnection::sessionBus().unregisterService(u"org.freedesktop.NetworkManager"_s);
        QCoreApplication::processEvents();
    }

private:
    SilentDaemon daemon;
};

QTEST_GUILESS_MAIN(SystemNetworkAbsenceTest)
#include "SystemNetworkAbsenceTest.moc"
