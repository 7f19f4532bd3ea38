#pragma once

#include "api/ServiceManager.h"
#include "connection/HomeVC.h"
#include "servers/CountryTV.h"
#include "servers/FavoriteTV.h"
#include "tests/support/FakeSecretStore.h"
#include "tests/support/FakeVPNManager.h"
#include "tests/support/ScriptedServer.h"
#include "ui/Window.h"

#include <QAbstractButton>
#include <QTest>

namespace velmora::testing {

/// A home screen in its window, with a scripted service, credential store and VPN manager around it.
struct HomeFixture
{
    HomeFixture()
    {
        ServiceManager::shared() = {};
        store.items = {{u"token"_s, u"t"_s}, {u"username"_s, u"ann"_s}};
    }

    void show()
    {
        window.reset(Window::windowWithContentViewController(screen));
        window->show();
    }
    /// Shows the screen and returns when the service has answered as it is scripted to.
    void load()
    {
        show();
        QVERIFY(QTest::qWaitFor([this] { return isAtRest(); }));
    }
    /// True if no request, no load and no save shares the screen any more: this fixture, the window and the
    /// screen's own timer do.
    bool isAtRest() const { return screen.use_count() == 3; }

    template<class Control>
    Control *control(const QString &name) const
    {
        return screen->loadedView()->findChild<Control *>(name);
    }
    void click(const QString &button) const { control<QAbstractButton>(button)->click(); }
    CountryTV *countries() const { return screen->loadedView()->findChild<CountryTV *>(); }
    FavoriteTV *favorites() const { return screen->loadedView()->findChild<FavoriteTV *>(); }

    /// The lines that both channels and the fakes got since the last call.
    QStringList newLines()
    {
        QStringList lines = output.lines();
        output.clear();
        return lines;
    }

    FakeSecretStore &store = FakeSecretStore::install();
    FakeVPNManager &vpn = FakeVPNManager::install();
    ScriptedServer server;
    OutputCapture output;
    QList<Service> &all = ServiceManager::shared().allService;
    std::shared_ptr<HomeVC> screen = Screen::make<HomeVC>();
    std::unique_ptr<Window> window;
};

} // namespace velmora::testing
