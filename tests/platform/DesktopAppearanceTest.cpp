#include "platform/desktop/DesktopAppearance.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QElapsedTimer>
#include <QMutex>
#include <QTest>
#include <QThread>

using namespace velmora;
using namespace Qt::StringLiterals;

namespace {

/// A settings portal with a color scheme, in a thread of its own.
class FakePortal final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

public:
    explicit FakePortal(uint colorScheme) : scheme(colorScheme)
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
    QDBusVariant Read(const QString &, const QString &)
    {
        const QMutexLocker whileHeld(&held);
        // The portal wraps the value twice.
        return QDBusVariant(QVariant::fromValue(QDBusVariant(scheme)));
    }

private:
    const QString path = u"/org/freedesktop/portal/desktop"_s;
    const uint scheme;
    QThread thread;
    QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"portal"_s);
};

} // namespace

class DesktopAppearanceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theAnswerAndItsChangesAreFollowedUntilTheEnd()
    {
        FakePortal portal(1);
        portal.held.lock();
        QList<bool> answers;
        QElapsedTimer timer;
        timer.start();
        std::optional<DesktopAppearance> first([&](bool dark) { answers << dark; });
        QVERIFY2(timer.elapsed() < 10000, "a slow portal is waited for");
        QCOMPARE(answers, QList<bool>{});
        portal.held.unlock();
        QTRY_COMPARE(answers, QList<bool>{true});
        portal.change(u"org.freedesktop.appearance"_s, u"accent-color"_s, 0U);
        portal.change(u"org.gnome.desktop.interface"_s, u"color-scheme"_s, 0U);
        portal.change(u"org.freedesktop.appearance"_s, u"color-scheme"_s, u"dark"_s);
        portal.change(u"org.freedesktop.appearance"_s, u"color-scheme"_s, 2U);
        QTRY_COMPARE(answers, (QList<bool>{true, false}));

        QList<bool> othersAnswers;
        const DesktopAppearance other([&](bool dark) { othersAnswers << dark; });
        QTRY_COMPARE(othersAnswers, QList<bool>{true});
        first.reset();
        portal.change(u"org.freedesktop.appearance"_s, u"color-scheme"_s, 0U);
        QTRY_COMPARE(othersAnswers, (QList<bool>{true, false}));
        QCOMPARE(answers.size(), 2);
    }
};

QTEST_MAIN(DesktopAppearanceTest)
#include "DesktopAppearanceTest.moc"
