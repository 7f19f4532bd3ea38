#include "app/AppDelegate.h"
#include "app/CommandLine.h"
#include "app/MainStoryboard.h"
#include "app/MissingParts.h"
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
using namespace velmora;

namespace {

constexpr std::chrono::milliseconds afterFirstPaint{200};

void setUpProcess()
{
    ProcessInfo::openStandardFiles();
    ProcessInfo::leaveNoCoreDump();
    // A standard output that nobody reads any more must not end the client.
    std::signal(SIGPIPE, SIG_IGN);
    VelmoraApp::setApplicationName(u"velmora"_s);
    VelmoraApp::setApplicationDisplayName(u"Velmora"_s);
    VelmoraApp::setApplicationVersion(configuration::version());
    VelmoraApp::setDesktopFileName(configuration::applicationIdentifier());
}

/// Opens the first window and runs the application to its end. All that can wait comes after the window.
int run(const ApplicationInstance &instance)
{
    const std::shared_ptr<Storyboard> storyboard = makeMainStoryboard();
    AppDelegate delegate(storyboard);
    QObject::connect(&instance, &ApplicationInstance::activationRequested, &delegate, &AppDelegate::activate);
    auto *const window = Window::windowWithContentViewController(storyboard->instantiate(screens::login));
    delegate.applicationDidFinishLaunching();
    window->makeKeyAndOrderFront();
    // The dialogs of the keyring come over the window.
    QTimer::singleShot(afterFirstPaint, &SecretStore::shared(), &SecretStore::unlock);
    const MissingParts missing(SecretStore::shared(), VPNManager::sharedManager());
    return VelmoraApp::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    setUpProcess();
    if (const std::optional<int> status = answerOnTerminal(argc, argv))
        return *status;

    const QString activationToken = ApplicationInstance::activationTokenOfStart();
    const VelmoraApp application(argc, argv);
    if (!ProcessInfo::runsOnGLib())
        return 1;
    // Wayland's plugin takes it at the first window. Elsewhere no process that the client starts may inherit
    // it.
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
    return run(instance);
}
