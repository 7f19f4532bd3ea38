#include "platform/desktop/ApplicationInstance.h"

#include <QDBusConnectionInterface>
#include <QGuiApplication>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

using namespace velmora;
using namespace Qt::StringLiterals;
using Role = ApplicationInstance::Role;

namespace {

constexpr int firstExit = 11;
constexpr int secondExit = 12;

int startAndTell()
{
    const QString token = ApplicationInstance::activationTokenOfStart();
    return ApplicationInstance().claim(token) == Role::First ? firstExit : secondExit;
}

/// Another process that starts the application, with one more variable in its environment.
struct Start
{
    Start(const QString &variable, const QString &value)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(variable, value);
        process.setProcessEnvironment(environment);
        process.setProcessChannelMode(QProcess::ForwardedChannels);
        process.start(QCoreApplication::applicationFilePath(), {u"--start"_s});
    }

    QProcess process;
};

} // namespace

class ApplicationInstanceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aSecondStartIsPassedOnWithItsToken()
    {
        ApplicationInstance first;
        QCOMPARE(first.claim({}), Role::First);
        QSignalSpy activations(&first, &ApplicationInstance::activationRequested);
        for (const QString &variable : {u"XDG_ACTIVATION_TOKEN"_s, u"DESKTOP_STARTUP_ID"_s}) {
            Start second(variable, variable.toLower());
            // The first is busy, as in a question to the user: its event loop does not run.
            QVERIFY(second.process.waitForFinished(10000));
            QCOMPARE(second.process.exitCode(), secondExit);
            QTRY_COMPARE(activations.size(), 1);
            QCOMPARE(activations.takeFirst().at(0).toString(), variable.toLower());
        }
    }

    void withoutABusEachStartIsTheFirst()
    {
        ApplicationInstance first;
        QCOMPARE(first.claim({}), Role::First);
        Start other(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nonexistent"_s);
        QVERIFY(other.process.waitForFinished());
        QCOMPARE(other.process.exitCode(), firstExit);
    }
};

int main(int argc, char *argv[])
{
    const QGuiApplication application(argc, argv);
    if (QCoreApplication::arguments().contains(u"--start"_s))
        return startAndTell();
    ApplicationInstanceTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "ApplicationInstanceTest.moc"
