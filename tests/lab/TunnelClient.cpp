#include "tests/lab/TunnelClient.h"

#include "platform/Configuration.h"
#include "platform/SecretStore.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QSignalSpy>
#include <QTimer>

#include <memory>

namespace velmora::testing {

using namespace Qt::StringLiterals;

namespace {

constexpr int answerBoundMilliseconds = 20'000;

QString name(VPNStatus status)
{
    static const QStringList names{u"Invalid"_s,   u"Disconnected"_s, u"Connecting"_s,
                                   u"Connected"_s, u"Reasserting"_s,  u"Disconnecting"_s};
    return names.value(int(status));
}

QString text(const std::optional<PlatformError> &error)
{
    return error ? u"%1 %2"_s.arg(error->domain, QString::number(error->code)) : QString();
}

/// Runs an operation that ends in a completion, and waits for that.
QString outcomeOf(const std::function<void(VPNManager::Completion)> &operation)
{
    const auto end = std::make_shared<std::optional<QString>>();
    const auto loop = std::make_shared<QEventLoop>();
    operation([end, loop](const std::optional<PlatformError> &error) {
        *end = *end ? u"ended twice"_s : text(error);
        loop->quit();
    });
    if (*end)
        return u"ended within the call"_s;
    QTimer::singleShot(answerBoundMilliseconds, loop.get(), &QEventLoop::quit);
    loop->exec();
    return end->value_or(u"never ended"_s);
}

} // namespace

TunnelClient::TunnelClient()
{
    QObject::connect(&manager, &VPNManager::statusDidChange, &manager,
                     [this] { seen.append(manager.connection().status()); });
}

QString TunnelClient::load()
{
    return outcomeOf([this](const VPNManager::Completion &end) { manager.loadFromPreferences(end); });
}

QString TunnelClient::save()
{
    return outcomeOf([this](const VPNManager::Completion &end) { manager.saveToPreferences(end); });
}

QString TunnelClient::start()
{
    return outcomeOf([this](const VPNManager::Completion &end) {
        manager.connection().startVPNTunnel([end](const VPNStartOutcome &outcome) {
            const auto *error = std::get_if<PlatformError>(&outcome);
            end(error != nullptr ? std::optional(*error) : std::nullopt);
        });
    });
}

void TunnelClient::configure(const Lab::Details &details)
{
    SecretStore &store = SecretStore::shared();
    const QString service = configuration::applicationIdentifier();
    const auto reference = [&store, &service](const QString &key, const QString &secret) {
        const Result<> stored = store.store(service, key, secret);
        const Result<std::optional<QByteArray>> found = store.persistentReference(service, key);
        if (!stored || !found)
            qWarning("the keyring does not take \"%s\"", qPrintable(key));
        return found ? *found : std::nullopt;
    };
    VPNProtocolIPSec protocol;
    protocol.serverAddress = details.address;
    protocol.localIdentifier = u"client"_s;
    protocol.authenticationMethod = VPNIKEAuthenticationMethod::SharedSecret;
    protocol.username = Lab().user();
    protocol.sharedSecretReference = reference(u"sharedSecret"_s, details.sharedSecret);
    protocol.passwordReference = reference(u"password"_s, details.password);
    protocol.useExtendedAuthentication = true;
    manager.setProtocolConfiguration(protocol);
    manager.setEnabled(true);
}

QString TunnelClient::connect(const Lab::Details &details)
{
    if (const QString error = load(); !error.isEmpty())
        return u"load: "_s + error;
    configure(details);
    if (const QString error = save(); !error.isEmpty())
        return u"save: "_s + error;
    if (const QString error = load(); !error.isEmpty())
        return u"second load: "_s + error;
    if (const QString error = start(); !error.isEmpty())
        return u"start: "_s + error;
    return {};
}

bool TunnelClient::comesTo(VPNStatus status, int boundMilliseconds)
{
    QSignalSpy posted(&manager, &VPNManager::statusDidChange);
    QDeadlineTimer deadline(boundMilliseconds);
    while (this->status() != status && posted.wait(int(deadline.remainingTime()))) {
    }
    if (this->status() == status)
        return true;
    qWarning("waited for %s, saw %s", qPrintable(name(status)), qPrintable(takeSeen()));
    return false;
}

QString TunnelClient::takeSeen()
{
    QStringList names;
    for (const VPNStatus status : std::exchange(seen, {}))
        names.append(name(status));
    return names.join(u' ');
}

} // namespace velmora::testing
