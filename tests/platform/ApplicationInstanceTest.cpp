#include "platform/desktop/ApplicationInstance.h"

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

/// The exit status of another process that starts the application, with this variable in its environment.
int exitOfStart(const QString &variable, const QString &value)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(variable, value);
    process.setProcessEnvironment(environment);
    process.start(QCoreApplication::applicationFilePath(), {u"--start"_s});
    return process.waitForFinished(10000) ? process.exitCode() : -1;
}

} // namespace

class ApplicationInstanceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aSecondStartIsPassedOnWithItsTokenWhereThereIsABus()
    {
        ApplicationInstance first;
        QCOMPARE(first.claim({}), Role::First);
        QSignalSpy activations(&first, &ApplicationInstance::activationRequested);
        for (const QString &variable : {u"XDG_ACTIVATION_TOKEN"_s, u"DESKTOP_STARTUP_ID"_s}) {
            // The event loop of the first does not run meanwhile.
            QCOMPARE(exitOfStart(variable, variable.toLower()), secondExit);
            QTRY_COMPARE(activations.size(), 1);
            QCOMPARE(activations.takeFirst().at(0).toString(), variable.toLower());
        }
        QCOMPARE(exitOfStart(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nonexistent"_s), firstExit);
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
