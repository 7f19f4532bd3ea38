#include "tests/lab/Lab.h"

#include "platform/HttpSession.h"

#include <QJsonDocument>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include <memory>

namespace velmora::testing {

using namespace Qt::StringLiterals;

namespace {

constexpr int commandBoundMilliseconds = 30'000;

/// Runs the program while the event loop runs as it does in the client: qWaitFor() would let it rest, and
/// what the daemon tells meanwhile would come all at once.
bool ends(QProcess &process, const QString &program, const QStringList &arguments)
{
    QSignalSpy finished(&process, &QProcess::finished);
    process.start(program, arguments);
    return finished.wait(commandBoundMilliseconds);
}

QString environment(const char *name)
{
    return qEnvironmentVariable(name);
}

} // namespace

bool Lab::isHere()
{
    return qEnvironmentVariableIsSet("VELMORA_LAB");
}

bool Lab::ctl(const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.setStandardOutputFile(QProcess::nullDevice());
    process.start(u"labctl"_s, arguments);
    return QTest::qWaitFor([&process] { return process.state() == QProcess::NotRunning; },
                           commandBoundMilliseconds) &&
           process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

QByteArray Lab::output(const QString &program, const QStringList &arguments)
{
    QProcess process;
    return ends(process, program, arguments) ? process.readAllStandardOutput() : QByteArray();
}

Lab::Details Lab::askForDetails()
{
    if (token.isEmpty()) {
        const QJsonObject account{{u"username"_s, user()},
                                  {u"password"_s, environment("VELMORA_LAB_PASSWORD")}};
        token = post(u"token"_s, account)[u"token"_s].toString().toUtf8();
    }
    const QJsonObject reply = post(u"endpoint"_s, {{u"endpoint"_s, 1}, {u"configurationType"_s, u"ipsec"_s}});
    return {reply[u"address"_s].toString(), reply[u"configuration"_s].toString(),
            reply[u"password"_s].toString()};
}

QString Lab::user() const
{
    return environment("VELMORA_LAB_USER");
}

QJsonObject Lab::post(const QString &path, const QJsonObject &body)
{
    const HttpRequest request{"POST",
                              environment("VELMORA_LAB_API") + path,
                              {{"Content-Type", "application/json"}, {"X-Auth-Token", token}},
                              QJsonDocument(body).toJson(QJsonDocument::Compact)};
    const auto reply = std::make_shared<std::optional<QByteArray>>();
    HttpSession::shared().send(request, [reply](const QByteArray &received) { *reply = received; });
    if (!QTest::qWaitFor([&reply] { return reply->has_value(); }))
        qWarning("the service does not answer %s", qPrintable(path));
    return QJsonDocument::fromJson(reply->value_or(QByteArray())).object();
}

} // namespace velmora::testing
