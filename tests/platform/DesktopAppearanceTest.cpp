#include "platform/desktop/DesktopAppearance.h"

#include <QDBusVariant>
#include <QElapsedTimer>
#include <QMutex>
#include <QTest>
#include <QThread>

using namespace velmora;
using namespace Qt::StringLiterals;

namespace {

const QString appearanceSpace = u"org.freedesktop.appearance"_s;
const QString interfaceSpace = u"org.gnome.desktop.interface"_s;

/// A settings portal in a thread of its own.
class FakePortal final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

public:
    FakePortal()
    {
        moveToThread(&thread);
        thread.start();
        bus.registerObject(path, this, QDBusConnection::ExportAllSlots);
        bus.registerService(u"org.freedesktop.portal.Desktop"_s);
    }

    ~FakePortal() override
    {
        thread.quit();
        thread.wait();
        QDBusConnection::disconnectFromBus(u"portal"_s);
    }

    void change(const QString &space, const QString &key, const QVariant &value)
    {
        QDBusMessage signal =
            QDBusMessage::createSignal(path, u"org.freedesktop.portal.Settings"_s, u"SettingChanged"_s);
        signal << space << key << QVariant::fromValue(QDBusVariant(value));
        bus.send(signal);
    }

    /// No request is answered while this is locked.
    QMutex held;

public Q_SLOTS:
    QDBusVariant Read(const QString &space, const QString &key)
    {
        const QMutexLocker whileHeld(&held);
        const QVariant value =
            space == interfaceSpace ? QVariant(key == u"text-scaling-factor"_s ? 1.5 : 0.0) : QVariant(1U);
        // The portal wraps the value twice.
        return QDBusVariant(QVariant::fromValue(QDBusVariant(value)));
    }

private:
    const QString path = u"/org/freedesktop/portal/desktop"_s;
    QThread thread;
    QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"portal"_s);
};

constexpr Appearance everything{.isDark = true, .hasHighContrast = true, .textScale = 1.5};

} // namespace

class DesktopAppearanceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aPortalThatAnswersAtOnceIsWaitedFor()
    {
        const FakePortal portal;
        Appearance seen;
        const DesktopAppearance appearance([&](const Appearance &now) { seen = now; });
        QCOMPARE(seen, everything);
    }

    void aSlowPortalIsNotWaitedForAndItsChangesAreFollowed()
    {
        FakePortal portal;
        portal.held.lock();
        Appearance seen;
        QElapsedTimer timer;
        timer.start();
        const DesktopAppearance appearance([&](const Appearance &now) { seen = now; });
        QVERIFY2(timer.elapsed() < 10000, "a slow portal is waited for");
        QCOMPARE(seen, Appearance{});
        portal.held.unlock();
        QTRY_COMPARE(seen, everything);

        portal.change(appearanceSpace, u"contrast"_s, u"high"_s);
        portal.change(interfaceSpace, u"color-scheme"_s, 0U);
        portal.change(interfaceSpace, u"text-scaling-factor"_s, 1e9);
        QTRY_COMPARE(seen, (Appearance{.isDark = true, .hasHighContrast = true, .textScale = 3}));
        portal.change(appearanceSpace, u"contrast"_s, 0U);
        portal.change(appearanceSpace, u"color-scheme"_s, 2U);
        QTRY_COMPARE(seen, (Appearance{.isDark = false, .hasHighContrast = false, .textScale = 3}));
    }
};

QTEST_MAIN(DesktopAppearanceTest)
#include "DesktopAppearanceTest.moc"
