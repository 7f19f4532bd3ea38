#pragma once

#include "connection/HomeVC.h"
#include "servers/CountryTV.h"
#include "servers/FavoriteTV.h"
#include "tests/support/FakeSecretStore.h"
#include "tests/support/FakeVPNManager.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/ScriptedServer.h"

namespace velmora {
class Window;
}

namespace velmora::testing {

/// A home screen in its window, with a scripted service, credential store and VPN manager around it.
class HomeFixture
{
public:
    HomeFixture();
    ~HomeFixture();
    HomeFixture(const HomeFixture &) = delete;
    HomeFixture &operator=(const HomeFixture &) = delete;

    /// Loads the screen while the service answers the two requests with these endpoints and favourites;
    /// returns when the lists show them.
    void load(const QByteArray &endpoints, const QByteArray &favorites);
    /// Loads the screen while the service answers nothing.
    void loadWithoutService();

    template<class Control>
    Control *control(const QString &name) const
    {
        return screen->loadedView()->findChild<Control *>(name);
    }
    /// Whether no request, no load and no save shares the screen any more: this fixture, the window and the
    /// screen's own timer do.
    bool isAtRest() const { return screen.use_count() == 3; }
    QString text(const QString &labelName) const;
    /// What both channels and the fakes got since the last call.
    QStringList newLines();

    FakeSecretStore &store;
    FakeVPNManager &vpn;
    ScriptedServer server;
    OutputCapture output;
    std::shared_ptr<HomeVC> screen;
    Window *window = nullptr;
};

} // namespace velmora::testing
