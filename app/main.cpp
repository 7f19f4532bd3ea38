#include "app/AppDelegate.h"
#include "app/CommandLine.h"
#include "app/MainStoryboard.h"
#include "app/MissingParts.h"
#include "app/VelmoraApp.h"
#include "platform/Configuration.h"
#include "platform/desktop/ApplicationInstance.h"
#include "platform/desktop/DesktopAppearance.h"
#include "platform/keyring/SystemSecretStore.h"
#include "platform/ProcessInfo.h"
#include "platform/vpn/SystemNetworkVPNManager.h"
#include "resources/Pictures.h"
#include "ui/Screen.h"
#include "ui/Storyboard.h"
#include "ui/Style.h"
#include "ui/Window.h"

#include <QScopeGuard>
#include <QTimer>

#include <chrono>
#include <csignal>

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::milliseconds afterFirstPaint{200};

} // namespace

int main(int argc, char *argv[])
{
    using namespace velmora;

    ProcessInfo::openStandardFiles();
    ProcessInfo::leaveNoCoreDump();
    // A standard output that nobody reads any more must not end the client.
    std::signal(SIGPIPE, SIG_IGN);
    VelmoraApp::setApplicationName(u"velmora"_s);
    VelmoraApp::setApplicationDisplayName(u"Velmora"_s);
    VelmoraApp::setApplicationVersion(configuration::version());
    VelmoraApp::setDesktopFileName(configuration::applicationIdentifier());
    const CommandLine commandLine(argc, argv);
    if (!commandLine.startsClient()) {
        const QCoreApplication application(argc, argv);
        return commandLine.execute();
    }

    const QString activationToken = ApplicationInstance::activationTokenOfStart();
    const VelmoraApp application(argc, argv);
    if (!ProcessInfo::runsOnGLib())
        return 1;

    // Wayland's plugin takes it at the first window; elsewhere nothing that the client starts inherits it.
    if (!VelmoraApp::platformName().startsWith(u"wayland"_s))
        qunsetenv("XDG_ACTIVATION_TOKEN");
    ApplicationInstance instance;
    if (instance.claim(activationToken) == ApplicationInstance::Role::Second)
        return 0;
    Style::install();
    const DesktopAppearance appearance(&Style::setAppearance);
    VelmoraApp::setWindowIcon(pictures::colouredIcon(u"velmora"_s));

    SecretStore::setShared(std::make_unique<SystemSecretStore>());
    VPNManager::setSharedManager(std::make_unique<SystemNetworkVPNManager>());
    const auto end = qScopeGuard([] {
        VPNManager::setSharedManager(nullptr);
        SecretStore::setShared(nullptr);
    });

    int status = 0;
    {
        const std::shared_ptr<Storyboard> storyboard = makeMainStoryboard();
        AppDelegate delegate(storyboard);
        QObject::connect(&instance, &ApplicationInstance::activationRequested, &delegate,
                         &AppDelegate::activate);
        auto *const window = Window::windowWithContentViewController(storyboard->instantiate(screens::login));
        delegate.applicationDidFinishLaunching();
        window->makeKeyAndOrderFront();
        // The window comes first; what the keyring asks the user for comes over it.
        QTimer::singleShot(afterFirstPaint, &SecretStore::shared(), &SecretStore::unlock);
        const SystemReadiness readiness;
        const MissingParts missing(readiness);
        status = VelmoraApp::exec();
    }
    return status;
}
