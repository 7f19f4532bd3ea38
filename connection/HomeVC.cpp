#include "connection/HomeVC.h"

#include "api/NetworkManager.h"
#include "api/ServiceManager.h"
#include "platform/Log.h"
#include "servers/CountryTV.h"
#include "servers/FavoriteTV.h"
#include "ui/Announcement.h"
#include "ui/Storyboard.h"
#include "ui/WebSite.h"
#include "ui/Window.h"

#include "ui_HomeVC.h"

#include <QSet>

#include <algorithm>

namespace velmora {

using namespace Qt::StringLiterals;

HomeVC::HomeVC() : keychain(Keychain::forApplication()), vpnManager(VPNManager::sharedManager()) {}

HomeVC::~HomeVC() = default;

std::shared_ptr<HomeVC> HomeVC::self()
{
    return std::static_pointer_cast<HomeVC>(shared_from_this());
}

std::unique_ptr<QWidget> HomeVC::makeView()
{
    auto root = std::make_unique<QWidget>();
    Ui::HomeVC layout;
    layout.setupUi(root.get());
    favorites.connect(layout.favorites);
    countries.connect(layout.countries);
    connectButton.connect(layout.connectButton);
    connectText.connect(layout.connectText);
    connectStatusText.connect(layout.connectStatusText);
    statusCard.connect(layout.statusCard);
    pingButton.connect(layout.pingButton);
    updateModal.connect(layout.updateModal);
    installModal.connect(layout.installModal);
    disconnectedMessageView.connect(layout.disconnectedMessageView);
    connectedMessageView.connect(layout.connectedMessageView);
    flagImageView.connect(layout.flagImageView);
    labelConnectionStatus.connect(layout.labelConnectionStatus);

    const auto clicked = &QAbstractButton::clicked;
    connectAction(layout.connectButton, clicked, &HomeVC::connectButtonClicked);
    connectAction(layout.pingButton, clicked, &HomeVC::pingButtonClicked);
    connectAction(layout.helpButton, clicked, &HomeVC::helpButtonClicked);
    connectAction(layout.settingsButton, clicked, &HomeVC::settingsButtonClickedWithSender);
    connectAction(layout.button1, clicked, &HomeVC::button1Clicked);
    connectAction(layout.button2, clicked, &HomeVC::button2Clicked);
    connectAction(layout.button3, clicked, &HomeVC::button3Clicked);
    connectAction(layout.updateButton, clicked, &HomeVC::updateButtonClicked);
    connectAction(layout.closeButton, clicked, &HomeVC::closeButtonClicked);
    connectAction(layout.installCloseButton, clicked, &HomeVC::closeButtonClicked);
    connectAction(layout.installHelpButton, clicked, &HomeVC::helpButtonClicked);
    connectAction(layout.updateModal, &ModalPanel::escapePressed, &HomeVC::closeButtonClicked);
    connectAction(layout.installModal, &ModalPanel::escapePressed, &HomeVC::closeButtonClicked);
    return root;
}

void HomeVC::viewDidLoad()
{
    Screen::viewDidLoad();
    setCurrent(self());
    const auto selectionHandler = [this](qint64 endpointId, const TableView *list) {
        selectedEndpointChanged(endpointId, list);
    };
    favorites->setBackgroundColor(QColor::fromRgbF(0.0F, 0.0F, 0.0F, 0.0F));
    favorites->selectedEndpointDelegate = selectionHandler;
    countries->selectedEndpointDelegate = selectionHandler;
    observeTunnel();
    NetworkManager::forOneRequest().getServices(
        [screen = self()](const std::optional<ServiceResponse> &reply) {
            screen->servicesReply(reply ? reply->services : std::nullopt);
        });
    setTimerMode(TimerMode::Slow);
    systemLog(u"viewDidLoad"_s);
}

void HomeVC::viewDidAppear()
{
    // Deliberately without the inherited one.
    announce(connectStatusText.get(), u"Home, "_s + connectStatusText->text());
}

void HomeVC::willBeReleased()
{
    disconnect(&vpnManager, nullptr, this, nullptr);
}

void HomeVC::servicesReply(const std::optional<QList<Service>> &services)
{
    if (!services)
        return;
    QList<Service> sorted = *services;
    sortByName(sorted);
    ServiceManager &store = ServiceManager::shared();
    store.allService = sorted;
    store.countryService = sorted;
    NetworkManager::forOneRequest().getFavorites(
        [screen = self()](const std::optional<FavServiceResponse> &reply) {
            screen->favoritesReply(reply ? reply->favorites : std::nullopt);
        });
}

void HomeVC::favoritesReply(const std::optional<QList<qint64>> &ids)
{
    if (!ids)
        return;
    ServiceManager &store = ServiceManager::shared();
    const QSet<qint64> distinct(ids->begin(), ids->end());
    QSet<qint64> unnamed = distinct;
    QList<Service> others;
    QList<qint64> named;
    for (const Service &service : std::as_const(store.allService)) {
        const qint64 id = service.id.value_or(0);
        if (!distinct.contains(id))
            others.append(service);
        else if (service.id && unnamed.remove(id))
            named.append(id);
    }
    // Favourites stand in the order of the names, as the other list does, and those without endpoint last.
    QList<qint64> rest(unnamed.begin(), unnamed.end());
    std::sort(rest.begin(), rest.end());
    store.favService = named + rest;
    store.countryService = others;
    reloadLists();
    for (const Window *const window : Window::windows()) {
        const auto home = std::dynamic_pointer_cast<HomeVC>(window->contentViewController());
        if (home && home.get() != this)
            home->reloadLists();
    }
}

void HomeVC::reloadLists()
{
    countries->reloadData();
    favorites->reloadData();
    reselectEndpoint();
}

void HomeVC::reselectEndpoint()
{
    if (selectedEndpointId < 0)
        return;
    // The refreshes of a survey move no row, and need no search of a long list.
    if (countries->isEndpointSelected(selectedEndpointId) ||
        favorites->isEndpointSelected(selectedEndpointId))
        return;
    const bool inFavorites = favorites->selectEndpointSilently(selectedEndpointId);
    const bool inCountries = countries->selectEndpointSilently(selectedEndpointId);
    if (!inFavorites && !inCountries)
        selectedEndpointChanged(-1, countries.get());
}

void HomeVC::selectedEndpointChanged(qint64 endpointId, const QWidget *list)
{
    if (endpointId >= 0) {
        if (list == favorites.get())
            countries->deselectAll();
        else if (list == countries.get())
            favorites->deselectAll();
        else
            systemLog(u"selectedEndpointChanged: unknown tableView"_s);
    }
    selectedEndpointId = endpointId;
}

void HomeVC::helpButtonClicked()
{
    openWebSitePage(u"/support"_s);
}

void HomeVC::settingsButtonClickedWithSender()
{
    replaceBy(screens::settings);
}

void HomeVC::showInstallModal()
{
    installModal->show();
}

void HomeVC::updateButtonClicked()
{
    updateModal->hide();
    installModal->show();
}

void HomeVC::closeButtonClicked()
{
    updateModal->hide();
    installModal->hide();
}

void HomeVC::button1Clicked()
{
    updateModal->show();
}

void HomeVC::button2Clicked()
{
    presentAsModalWindow(screens::notification1);
}

void HomeVC::button3Clicked()
{
    presentAsModalWindow(screens::notification2);
}

} // namespace velmora
