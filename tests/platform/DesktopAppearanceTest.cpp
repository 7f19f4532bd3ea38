#include "platform/DesktopAppearance.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
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
    QDBusVariant Read(const QString &space, const QString &key)
    {
        const QMutexLocker whileHeld(&held);
        const bool isKnown = space == u"org.freedesktop.appearance"_s && key == u"color-scheme"_s;
        // The portal wraps the value twice.
        return QDBusVariant(QVariant::fromValue(QDBusVariant(isKnown ? QVariant(scheme) : QVariant())));
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
    void aDesktopWithoutPortalAsksForNothing();
    void theFirstAnswerComesBeforeTheFirstWindow_data();
    void theFirstAnswerComesBeforeTheFirstWindow();
    void aSlowPortalIsNotWaitedFor();
    void changesAreFollowedUntilTheEnd();
};

void DesktopAppearanceTest::aDesktopWithoutPortalAsksForNothing()
{
    int answers = 0;
    const DesktopAppearance appearance([&](bool) { ++answers; });
    QCoreApplication::processEvents();
    QCOMPARE(answers, 0);
}

void DesktopAppearanceTest::theFirstAnswerComesBeforeTheFirstWindow_data()
{
    QTest::addColumn<uint>("scheme");
    QTest::addColumn<bool>("isDark");
    QTest::newRow("no preference") << 0U << false;
    QTest::newRow("dark") << 1U << true;
    QTest::newRow("light") << 2U << false;
}

void DesktopAppearanceTest::theFirstAnswerComesBeforeTheFirstWindow()
{
    QFETCH(uint, scheme);
    const FakePortal portal(scheme);
    QList<bool> answers;
    const DesktopAppearance appearance([&](bool dark) { answers << dark; });
    QCOMPARE(answers.size(), 1);
    QTEST(answers.first(), "isDark");
}

void DesktopAppearanceTest::aSlowPortalIsNotWaitedFor()
{
    FakePortal portal(1);
    portal.held.lock();
    QList<bool> answers;
    const DesktopAppearance appearance([&](bool dark) { answers << dark; });
    QVERIFY(answers.isEmpty());
    portal.held.unlock();
    QTRY_COMPARE(answers, QList<bool>{true});
}

void DesktopAppearanceTest::changesAreFollowedUntilTheEnd()
{
    FakePortal portal(0);
    QList<bool> answers;
    {
        const DesktopAppearance appearance([&](bool dark) { answers << dark; });
        portal.change(u"org.freedesktop.appearance"_s, u"accent-color"_s, 1U);
        portal.change(u"org.gnome.desktop.interface"_s, u"color-scheme"_s, 1U);
        portal.change(u"org.freedesktop.appearance"_s, u"color-scheme"_s, u"dark"_s);
        portal.change(u"org.freedesktop.appearance"_s, u"color-scheme"_s, 1U);
        QTRY_COMPARE(answers, (QList<bool>{false, true}));
    }
    QList<bool> othersAnswers;
    const DesktopAppearance other([&](bool dark) { othersAnswers << dark; });
    portal.change(u"org.freedesktop.appearance"_s, u"color-scheme"_s, 2U);
    QTRY_COMPARE(othersAnswers.size(), 2);
    QCOMPARE(answers.size(), 2);
}

QTEST_MAIN(DesktopAppearanceTest)
#include "DesktopAppearanceTest.moc"
