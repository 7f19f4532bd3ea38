#include "bench/HomeStage.h"

#include "api/ServiceManager.h"
#include "servers/CountryTV.h"
#include "servers/FavoriteTV.h"
#include "tests/support/FakeSecretStore.h"
#include "tests/support/FakeVPNManager.h"
#include "tests/support/OutputCapture.h"
#include "ui/Window.h"

#include <QCoreApplication>

#include <algorithm>

namespace velmora::bench {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype favorites = 5;
/// More than there are rows on screen.
constexpr qsizetype changed = 40;

} // namespace

HomeStage::HomeStage()
{
    // The lines of the screen's start are no figures.
    const testing::OutputCapture capture;
    testing::FakeSecretStore::install();
    testing::FakeVPNManager::install();
    screen = Screen::make<HomeVC>();
    window = Window::windowWithContentViewController(screen);
    window->makeKeyAndOrderFront();
    // Until the request of the endpoint list has failed: the window, the refresh timer and this share the
    // screen.
    while (screen.use_count() > 3 || !window->isActiveWindow())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

HomeStage::~HomeStage()
{
    delete window;
}

void HomeStage::fillStore(qsizetype count, const QString &address)
{
    QList<Service> services;
    services.reserve(count);
    for (qsizetype index = 0; index < count; ++index)
        services.append(Service{index + 1, u"Location %1"_s.arg(index), u"DE"_s, address, {}});
    fillStore(std::move(services));
}

void HomeStage::fillStore(QList<Service> services)
{
    ServiceManager &store = ServiceManager::shared();
    store = {};
    for (qsizetype index = 0; index < services.size(); ++index) {
        if (index < favorites)
            store.favService.append(services.at(index).id.value_or(0));
        else
            store.countryService.append(services.at(index));
    }
    store.allService = std::move(services);
}

void HomeStage::changeLatencies(double milliseconds)
{
    QList<Service> &all = ServiceManager::shared().allService;
    for (qsizetype index = 0; index < std::min(changed, all.size()); ++index)
        all[index].ping = QList<double>{milliseconds, milliseconds, milliseconds};
}

void HomeStage::reloadLists() const
{
    screen->loadedView()->findChild<CountryTV *>()->reloadData();
    screen->loadedView()->findChild<FavoriteTV *>()->reloadData();
}

void HomeStage::selectFavorite(int row) const
{
    screen->loadedView()->findChild<FavoriteTV *>()->selectRow(row);
}

} // namespace velmora::bench
