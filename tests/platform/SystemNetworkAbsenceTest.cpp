#include "platform/SystemNetworkLibrary.h"
#include "platform/SystemNetworkVPNManager.h"
#include "platform/VPNConnection.h"

#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace velmora;
using namespace Qt::StringLiterals;

namespace {

/// A system bus of the test's own, at an address that it may come to later.
class PrivateBus
{
public:
    PrivateBus() { qputenv("DBUS_SYSTEM_BUS_ADDRESS", address()); }
    ~PrivateBus() { stop(); }

    QByteArray address() const { return "unix:path=" + folder.filePath(u"bus"_s).toUtf8(); }
    bool start()
    {
        daemon.start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address"_s, u"--address"_s,
                                        QString::fromUtf8(address())});
        return daemon.waitForReadyRead();
    }
    void stop()
    {
        daemon.kill();
        daemon.waitForFinished();
    }

private:
    QTemporaryDir folder;
    QProcess daemon;
};

/// Has NetworkManager's name on the bus and answers nothing.
class SilentDaemon
{
public:
    explicit SilentDaemon(const PrivateBus &bus)
        : connection(g_dbus_connection_new_for_address_sync(
              bus.address().constData(),
              static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
              nullptr, nullptr, nullptr))
    {
        const GVariantPtr owned(g_dbus_connection_call_sync(
            connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "RequestName", g_variant_new("(su)", NM_DBUS_SERVICE, 0), nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
            nullptr, nullptr));
        g_dbus_connection_add_filter(connection.get(), drop, nullptr, nullptr);
    }
    ~SilentDaemon() { g_dbus_connection_close_sync(connection.get(), nullptr, nullptr); }

private:
    static GDBusMessage *drop(GDBusConnection *, GDBusMessage *message, gboolean incoming, gpointer)
    {
        if (incoming == FALSE || g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL)
            return message;
        g_object_unref(message);
        return nullptr;
    }

    GObjectPtr<GDBusConnection> connection;
};

/// Asks for a load, a save and a start, and notes how each ends.
struct Answers
{
    QStringList seen;

    void ask(VPNManager &manager)
    {
        seen.clear();
        const auto note = [this](const QString &what) {
            return [this, what](const std::optional<PlatformError> &error) {
                seen << (error ? u"%1: %2 %3"_s.arg(what, error->domain, QString::number(error->code))
                               : what);
            };
        };
        manager.loadFromPreferences(note(u"load"_s));
        manager.saveToPreferences(note(u"save"_s));
        manager.connection().startVPNTunnel([started = note(u"start"_s)](const VPNStartOutcome &outcome) {
            const auto *error = std::get_if<PlatformError>(&outcome);
            started(error != nullptr ? std::optional(*error) : std::nullopt);
        });
        manager.connection().stopVPNTunnel();
    }

    bool areAll(const QString &error) const
    {
        return seen == QStringList{u"load: "_s + error, u"save: "_s + error, u"start: "_s + error};
    }
};

const QString daemonAbsent = u"nm-client-error-quark 1"_s;

} // namespace

/// What the seam does while there is no daemon to do it.
class SystemNetworkAbsenceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isToldOfWhateverIsMissing_data()
    {
        QTest::addColumn<bool>("withBus");
        QTest::addColumn<bool>("withDaemon");
        QTest::addColumn<QString>("error");
        QTest::addColumn<VPNStatus>("status");
        QTest::newRow("no bus") << false << false << u"g-io-error-quark 1"_s << VPNStatus::Disconnected;
        QTest::newRow("no daemon") << true << false << daemonAbsent << VPNStatus::Disconnected;
        QTest::newRow("daemon that does not answer")
            << true << true << u"g-io-error-quark 24"_s << VPNStatus::Invalid;
    }
    void isToldOfWhateverIsMissing()
    {
        QFETCH(const bool, withBus);
        QFETCH(const bool, withDaemon);
        QFETCH(const QString, error);
        QFETCH(const VPNStatus, status);
        PrivateBus bus;
        QVERIFY(!withBus || bus.start());
        const std::unique_ptr<SilentDaemon> daemon(withDaemon ? new SilentDaemon(bus) : nullptr);
        SystemNetworkVPNManager manager;
        const QSignalSpy posted(&manager, &VPNManager::statusDidChange);
        QVERIFY(manager.connection().status() == VPNStatus::Invalid);
        QVERIFY(!manager.isEnabled());
        Answers answers;
        answers.ask(manager);
        QVERIFY2(answers.seen.isEmpty(), "answered within the call");
        QTRY_COMPARE(answers.seen.size(), 3);
        QVERIFY2(answers.areAll(error), qPrintable(answers.seen.join(u", "_s)));
        QVERIFY(manager.connection().status() == status);
        QCOMPARE(posted.count(), status == VPNStatus::Invalid ? 0 : 1);
    }

    void endsInTheMiddle()
    {
        PrivateBus bus;
        QVERIFY(bus.start());
        const SilentDaemon daemon(bus);
        Answers answers;
        auto manager = std::make_unique<SystemNetworkVPNManager>();
        answers.ask(*manager);
        QCoreApplication::processEvents();
        manager.reset();
        bus.stop();
        // What the first one has left behind would run before this one is answered.
        SystemNetworkVPNManager next;
        Answers later;
        later.ask(next);
        QTRY_COMPARE(later.seen.size(), 3);
        QVERIFY(answers.seen.isEmpty());
    }
};

QTEST_GUILESS_MAIN(SystemNetworkAbsenceTest)
#include "SystemNetworkAbsenceTest.moc"
