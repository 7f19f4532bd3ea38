#include "platform/ApplicationInstance.h"

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

/// Another process that starts the application.
struct Start
{
    explicit Start(const QMap<QString, QString> &variables = {})
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (auto variable = variables.begin(); variable != variables.end(); ++variable)
            environment.insert(variable.key(), variable.value());
        process.setProcessEnvironment(environment);
        process.setProcessChannelMode(QProcess::ForwardedChannels);
        process.start(QCoreApplication::applicationFilePath(), {u"--start"_s});
    }
    bool hasEnded() const { return process.state() == QProcess::NotRunning; }

    QProcess process;
};

} // namespace

class ApplicationInstanceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aSecondStartIsPassedOnWithItsToken_data()
    {
        QTest::addColumn<QMap<QString, QString>>("variables");
        QTest::addColumn<QString>("token");
        using Variables = QMap<QString, QString>;
        QTest::newRow("from a terminal") << Variables{} << QString();
        QTest::newRow("Wayland") << Variables{{u"XDG_ACTIVATION_TOKEN"_s, u"w"_s}} << u"w"_s;
        QTest::newRow("X11") << Variables{{u"DESKTOP_STARTUP_ID"_s, u"x_TIME1"_s}} << u"x_TIME1"_s;
    }

    void aSecondStartIsPassedOnWithItsToken()
    {
        using Variables = QMap<QString, QString>;
        QFETCH(Variables, variables);
        QFETCH(QString, token);
        ApplicationInstance first;
        QCOMPARE(first.claim({}), Role::First);
        const QSignalSpy activations(&first, &ApplicationInstance::activationRequested);
        Start second(variables);
        QTRY_VERIFY(second.hasEnded());
        QCOMPARE(second.process.exitCode(), secondExit);
        QCOMPARE(activations.size(), 1);
        QCOMPARE(activations.at(0).at(0).toString(), token);
    }

    void aFirstThatIsBusyHoldsNobodyUpForLong()
    {
        ApplicationInstance first;
        QCOMPARE(first.claim({}), Role::First);
        const QSignalSpy activations(&first, &ApplicationInstance::activationRequested);
        Start second;
        // Without the event loop, as in a question to the user.
        QVERIFY(second.process.waitForFinished(10000));
        QCOMPARE(second.process.exitCode(), secondExit);
        QTRY_COMPARE(activations.size(), 1);
    }

    void withoutABusEachStartIsTheFirst()
    {
        ApplicationInstance first;
        QCOMPARE(first.claim({}), Role::First);
        Start other({{u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nonexistent"_s}});
        QTRY_VERIFY(other.hasEnded());
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
