#include "tests/support/Scenes.h"

#include "api/ServiceManager.h"
#include "app/MainStoryboard.h"
#include "app/MissingParts.h"
#include "ui/NoticeStrip.h"
#include "ui/Screen.h"
#include "ui/Style.h"
#include "ui_HomeVC.h"
#include "ui_ViewController.h"

#include <QApplication>
#include <QMessageBox>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

void fillStore()
{
    struct Sample
    {
        const char *country;
        const char *name;
        double latency;
    };
    static const Sample samples[] = {
        {"AT", "Austria, Vienna", 18.25},        {"AU", "Australia, Sydney", 281.6},
        {"BR", "Brasil, São Paulo", 203.1},      {"CA", "Canada, Toronto", 98.4},
        {"CH", "Switzerland, Zürich", 14.9},     {"DE", "Germany, Frankfurt am Main", 9.3},
        {"DE", "Germany, Berlin", 21.7},         {"ES", "España, A Coruña", -1},
        {"FR", "France, Paris", 17.2},           {"GB", "United Kingdom, London", 23.4375},
        {"GB-SCT", "Scotland, Edinburgh", 31.8}, {"AE", "الإمارات العربية المتحدة، دبي", 120.5},
        {"JP", "Japan, Tokyo", 243.9},           {"KR", "Korea, Republic of, Seoul Metropolitan Area 2", 251},
        {"NL", "Netherlands, Amsterdam", 11.1},  {"NO", "Norway, Oslo", 36.6},
        {"SE", "Sweden, Stockholm", 33.2},       {"SG", "Singapore", 171.4},
        {"US", "United States, New York", 91.9}, {"US", "United States, San Francisco", 148.8},
    };
    ServiceManager &store = ServiceManager::shared();
    store = {};
    qint64 id = 1;
    for (const Sample &sample : samples) {
        Service service{
            id, QString::fromUtf8(sample.name), QString::fromLatin1(sample.country), u"192.0.2.1"_s, {}};
        if (sample.latency > 0)
            service.ping = QList<double>{sample.latency, sample.latency, sample.latency};
        store.allService.append(service);
        ++id;
    }
    store.favService = {6, 10, 19};
    for (const Service &service : std::as_const(store.allService)) {
        if (!store.favService.contains(*service.id))
            store.countryService.append(service);
    }
}

/// The longest of everything: names, latencies, the list itself.
void fillStoreToTheBrim()
{
    ServiceManager &store = ServiceManager::shared();
    store = {};
    for (qint64 id = 1; id <= 300; ++id) {
        Service service{id, u"%1 Saint Vincent and the Grenadines, Kingstown, North Side %1"_s.arg(id),
                        u"VC"_s, u"192.0.2.1"_s, QList<double>{9999.9, 9999.9, 9999.9}};
        store.allService.append(service);
        if (id <= 40)
            store.favService.append(id);
        else
            store.countryService.append(service);
    }
}

struct Home
{
    Home()
    {
        ui.setupUi(&widget);
        setConnected(false);
        ui.favorites->reloadData();
        ui.countries->reloadData();
        widget.resize(QSize(400, 650).expandedTo(widget.minimumSizeHint()));
        widget.show();
    }

    void setConnected(bool connected)
    {
        ui.connectStatusText->setText(connected ? u"Connected"_s : u"Disconnected"_s);
        ui.connectText->setText(connected ? u"Disconnect"_s : u"Quick Connect"_s);
        ui.connectButton->setImageNamed(connected ? u"power1"_s : u"power"_s);
        ui.statusCard->setProtected(connected);
    }

    QWidget widget;
    Ui::HomeVC ui;
};

void settle()
{
    QApplication::processEvents();
    QApplication::processEvents();
}

void sayMissing(const QList<SystemReadiness::Missing> &parts)
{
    NoticeStrip::setLines(MissingParts::lines(parts));
}

/// A screen as its window shows it, without the window's menu bar.
void showScreen(const QString &identifier, const QString &name, const scenes::Visitor &visit)
{
    const std::shared_ptr<Screen> screen = makeMainStoryboard()->instantiate(identifier);
    const QSize size = screen->preferredContentSize();
    QWidget *const view = screen->loadedView();
    view->resize(size.expandedTo(view->minimumSizeHint()));
    view->show();
    settle();
    // What says more the narrower it is knows its height only now.
    view->resize(view->size().expandedTo(view->minimumSizeHint()));
    settle();
    visit(*view, name);
}

void showHome(const scenes::Visitor &visit)
{
    fillStore();
    Home home;
    const auto show = [&](const QString &name) {
        settle();
        home.widget.resize(home.widget.size().expandedTo(home.widget.minimumSizeHint()));
        settle();
        visit(home.widget, name);
    };
    show(u"home"_s);
    home.ui.countries->selectRow(2);
    home.setConnected(true);
    show(u"connected"_s);
    home.ui.favorites->selectEndpointSilently(10);
    home.ui.countries->selectEndpointSilently(-1);
    home.ui.updateModal->setVisible(true);
    show(u"update"_s);
    home.ui.updateModal->setVisible(false);
    home.ui.installModal->setVisible(true);
    show(u"install"_s);
    home.ui.installModal->setVisible(false);
    home.setConnected(false);
    using Missing = SystemReadiness::Missing;
    sayMissing({Missing::VPNPlugin});
    show(u"home-missing"_s);
    sayMissing({Missing::NetworkManager, Missing::VPNPlugin, Missing::UnlockedKeyring});
    show(u"home-missing-more"_s);
    sayMissing({});
    home.ui.favorites->selectEndpointSilently(-1);
    fillStoreToTheBrim();
    home.ui.favorites->reloadData();
    home.ui.countries->reloadData();
    home.ui.countries->selectRow(1);
    show(u"home-long"_s);
    ServiceManager::shared() = {};
    home.ui.favorites->reloadData();
    home.ui.countries->reloadData();
    show(u"home-empty"_s);
}

void showAlert(const scenes::Visitor &visit)
{
    QMessageBox alert;
    alert.setText(u"Alert"_s);
    alert.setInformativeText(u"The user name or the password is wrong."_s);
    alert.addButton(QMessageBox::Ok);
    alert.show();
    settle();
    visit(alert, u"alert"_s);
}

} // namespace

void scenes::showAll(const Visitor &visit)
{
    showScreen(u"LoginVC"_s, u"login"_s, visit);
    sayMissing({SystemReadiness::Missing::UnlockedKeyring});
    showScreen(u"LoginVC"_s, u"login-missing"_s, visit);
    sayMissing({});
    showScreen(u"ForgotVC"_s, u"reset"_s, visit);
    showScreen(u"SettingsVC"_s, u"settings"_s, visit);
    for (const QString &number : {u"1"_s, u"2"_s, u"3"_s})
        showScreen(u"Notification%1VC"_s.arg(number), u"notice-%1"_s.arg(number), visit);
    showHome(visit);
    showAlert(visit);
}

} // namespace velmora
