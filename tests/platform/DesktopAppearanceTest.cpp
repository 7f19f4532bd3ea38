#include "platform/desktop/DesktopAppearance.h"

#include <QDBusContext>
#include <QDBusVariant>
#include <QTest>

using namespace velmora;
using namespace Qt::StringLiterals;

namespace {

const QString appearanceSpace = u"org.freedesktop.appearance"_s;
const QString interfaceSpace = u"org.gnome.desktop.interface"_s;
const QString portalPath = u"/org/freedesktop/portal/desktop"_s;

/// A settings portal on a bus connection of its own. It replies at once, or when it is told to.
class FakePortal final : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

public:
    FakePortal()
    {
        bus.registerObject(portalPath, this, QDBusConnection::ExportAllSlots);
        bus.registerService(u"org.freedesktop.portal.Desktop"_s);
    }

    void change(const QString &space, const QString &key, const QVariant &value)
    {
        QDBusMessage signal =
            QDBusMessage::createSignal(portalPath, u"org.freedesktop.portal.Settings"_s, u"SettingChanged"_s);
        bus.send(signal << space << key << QVariant::fromValue(QDBusVariant(value)));
    }

    bool isSlow = false;
    QList<QDBusMessage> replies;
    QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"portal"_s);

public Q_SLOTS:
    QDBusVariant Read(const QString &space, const QString &)
    {
        // The portal wraps the value twice.
        QDBusVariant value(
            QVariant::fromValue(QDBusVariant(space == interfaceSpace ? QVariant(1.5) : QVariant(1U))));
        setDelayedReply(isSlow);
        if (isSlow)
            replies << message().createReply(QVariant::fromValue(value));
        return value;
    }
};

} // namespace

class DesktopAppearanceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void thePortalIsWaitedForUnlessItIsSlowAndItsChangesAreFollowed()
    {
        constexpr Appearance everything{.isDark = true, .hasHighContrast = true, .textScale = 1.5};
        FakePortal portal;
        Appearance seen;
        const auto take = [&seen](const Appearance &now) {
            seen = now;
        };
        {
            const DesktopAppearance appearance(take);
            QCOMPARE(seen, everything);
        }
        seen = {};
        portal.isSlow = true;
        const DesktopAppearance appearance(take);
        QCOMPARE(seen, Appearance{});
        QCOMPARE(portal.replies.size(), 3);
        for (const QDBusMessage &reply : std::as_const(portal.replies))
            portal.bus.send(reply);
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
