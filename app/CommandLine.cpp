#include "app/CommandLine.h"

#include "platform/Configuration.h"
#include "platform/desktop/ApplicationInstance.h"
#include "platform/keyring/SystemSecretStore.h"
#include "platform/Log.h"
#include "platform/ProcessInfo.h"
#include "platform/vpn/SystemNetworkVPNManager.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <QUrl>

#include <chrono>
#include <utility>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

constexpr int failed = 1;
constexpr int notUnderstood = 2;
constexpr std::chrono::milliseconds unlockTimeout = 60s;
/// A tunnel ends within a tenth of a second after its profile, unless the daemon hangs.
constexpr std::chrono::milliseconds tunnelTimeout = 10s;

const QString helpName = u"help"_s;
const QString versionName = u"version"_s;
const QString forgetName = u"forget"_s;

/// The options that QApplication and the platform plugins take out of the arguments themselves.
QList<QCommandLineOption> optionsOfQt()
{
    QList<QCommandLineOption> options;
    for (const QString &name :
         {u"display"_s, u"geometry"_s, u"icon"_s, u"name"_s, u"platform"_s, u"platformpluginpath"_s,
          u"platformtheme"_s, u"plugin"_s, u"qwindowgeometry"_s, u"qwindowicon"_s, u"qwindowtitle"_s,
          u"session"_s, u"style"_s, u"stylesheet"_s, u"title"_s})
        options.append(QCommandLineOption(name, {}, name));
    for (const QString &name : {u"dograb"_s, u"nograb"_s, u"reverse"_s, u"widgetcount"_s})
        options.append(QCommandLineOption(name));
    for (QCommandLineOption &option : options)
        option.setFlags(QCommandLineOption::HiddenFromHelp);
    return options;
}

bool refused(const QString &refusal, const PlatformError &error)
{
    printErrorLine(u"velmora: %1: %2"_s.arg(refusal, error.message));
    return false;
}

/// Has the user asked to unlock the store, and waits for it.
void waitForUnlock(SecretStore &store)
{
    printLine(u"The keyring is locked. Unlock it within a minute, please."_s);
    QEventLoop loop;
    QObject::connect(&store, &SecretStore::opened, &loop, &QEventLoop::quit);
    QObject::connect(&store, &SecretStore::dismissed, &loop, &QEventLoop::quit);
    QTimer::singleShot(unlockTimeout, &loop, &QEventLoop::quit);
    store.unlock();
    loop.exec();
}

bool forgetItems()
{
    SystemSecretStore store;
    const QString service = configuration::applicationIdentifier();
    bool hadItems = false;
    bool hasAsked = false;
    for (const QString &key : {u"token"_s, u"username"_s, u"password"_s, u"sharedSecret"_s}) {
        auto item = store.persistentReference(service, key);
        if (!item && item.error().domain == SecretStore::lockedError && !std::exchange(hasAsked, true)) {
            waitForUnlock(store);
            item = store.persistentReference(service, key);
        }
        hadItems = hadItems || !item || *item;
        if (const Result<> removal = store.remove(service, key); !removal)
            return refused(u"The keyring does not remove the items of Velmora"_s, removal.error());
    }
    printLine(hadItems ? u"Removed the sign-in and the tunnel's secrets from the keyring."_s
                       : u"The keyring holds nothing of Velmora."_s);
    return true;
}

/// Runs the event loop until the operation has ended.
std::optional<PlatformError> outcomeOf(VPNManager &manager, void (VPNManager::*operation)(VPNCompletion))
{
    QEventLoop loop;
    std::optional<PlatformError> outcome;
    (manager.*operation)([&](const std::optional<PlatformError> &error) {
        outcome = error;
        loop.quit();
    });
    loop.exec();
    return outcome;
}

bool hasTunnel(VPNManager &manager)
{
    const VPNStatus status = manager.connection().status();
    return status != VPNStatus::Invalid && status != VPNStatus::Disconnected;
}

void waitForEndOfTunnel(VPNManager &manager)
{
    QEventLoop loop;
    QObject::connect(&manager, &VPNManager::statusDidChange, &loop, [&] {
        if (!hasTunnel(manager))
            loop.quit();
    });
    QTimer::singleShot(tunnelTimeout, &loop, &QEventLoop::quit);
    if (hasTunnel(manager))
        loop.exec();
}

bool forgetProfile()
{
    SystemNetworkVPNManager manager(SystemNetworkVPNManager::Secrets::None);
    if (const auto error = outcomeOf(manager, &VPNManager::loadFromPreferences))
        return refused(u"NetworkManager cannot be asked for the profile \"Velmora\""_s, *error);
    if (!manager.protocolConfiguration()) {
        printLine(u"There is no NetworkManager profile \"Velmora\" of this user."_s);
        return true;
    }
    const bool hadTunnel = hasTunnel(manager);
    if (const auto error = outcomeOf(manager, &VPNManager::removeFromPreferences))
        return refused(u"NetworkManager did not remove the profile \"Velmora\""_s, *error);
    waitForEndOfTunnel(manager);
    const QString end = hasTunnel(manager) ? u"; its tunnel has not ended yet"_s
                        : hadTunnel        ? u"; its tunnel has ended"_s
                                           : QString();
    printLine(u"Removed the NetworkManager profile \"Velmora\"%1."_s.arg(end));
    return true;
}

int forget()
{
    if (!ProcessInfo::runsOnGLib())
        return failed;
    const bool itemsAreGone = forgetItems();
    const bool profileIsGone = forgetProfile();
    if (ApplicationInstance::isRunning())
        printLine(u"The client is running; it stores all this again when it signs in and connects next."_s);
    return itemsAreGone && profileIsGone ? 0 : failed;
}

} // namespace

std::optional<int> answerOnTerminal(int argc, char *argv[])
{
    QCommandLineParser parser;
    // Qt's options are long and have a single dash.
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    parser.setApplicationDescription(u"The desktop client of the Velmora VPN service."_s);
    parser.addOptions({
        {{u"h"_s, helpName}, u"Show this text."_s},
        {{u"v"_s, versionName}, u"Show the version and the service that it was built for."_s},
        {forgetName,
         u"Remove the sign-in and the tunnel's secrets from the keyring, and the client's profile "
         "from NetworkManager, which ends its tunnel."_s},
    });
    parser.addOptions(optionsOfQt());

    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    QString complaint;
    if (!parser.parse(arguments))
        complaint = parser.errorText();
    else if (!parser.positionalArguments().isEmpty())
        complaint = u"Unexpected argument '%1'."_s.arg(parser.positionalArguments().constFirst());

    if (!complaint.isEmpty()) {
        printErrorLine(u"velmora: %1 See velmora --help."_s.arg(complaint));
        return notUnderstood;
    }
    if (parser.isSet(forgetName)) {
        const QCoreApplication application(argc, argv);
        return forget();
    }
    if (parser.isSet(helpName)) {
        const QCoreApplication application(argc, argv);
        printLine(parser.helpText().trimmed());
    } else if (parser.isSet(versionName)) {
        printLine(u"velmora %1\nAPI host: %2\nweb site host: %3"_s.arg(
            configuration::version(), QUrl(configuration::apiBaseUrl()).authority(),
            configuration::webHost()));
    } else {
        return std::nullopt;
    }
    return 0;
}

} // namespace velmora
