#include "tests/support/Scenes.h"

#include "api/ServiceManager.h"
#include "app/MainStoryboard.h"
#include "app/MissingParts.h"
#include "ui/Alert.h"
#include "ui/NoticeStrip.h"
#include "ui/Screen.h"
#include "ui/Style.h"
#include "ui_HomeVC.h"

#include <QApplication>
#include <QLayout>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

void fillStore()
{
    static const std::tuple<const char *, const char *, double> samples[] = {
        {"AT", "Austria, Vienna", 18.25},        {"AU", "Australia, Sydney", 281.6},
        {"BR", "Brasil, São Paulo", 203.1},      {"CH", "Switzerland, Zürich", 14.9},
        {"DE", "Germany, Berlin", 21.7},         {"ES", "España, A Coruña", -1},
        {"GB", "United Kingdom, London", 23.4},  {"AE", "الإمارات العربية المتحدة، دبي", 120.5},
        {"GB-SCT", "Scotland, Edinburgh", 31.8}, {"KR", "Korea, Republic of, Seoul Metropolitan Area 2", 251},
        {"NL", "Netherlands, Amsterdam", 11.1},  {"US", "United States, San Francisco", 148.8},
    };
    ServiceManager &store = ServiceManager::shared();
    store = {};
    store.favService = {4, 7, 11};
    for (const auto &[country, name, latency] : samples) {
        Service service{store.allService.size() + 1,
                        QString::fromUtf8(name),
                        QString::fromLatin1(country),
                        u"192.0.2.1"_s,
                        {}};
        if (latency > 0)
            service.ping = QList<double>{latency, latency, latency};
        store.allService.append(service);
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

void settle()
{
    QApplication::processEvents();
    QApplication::processEvents();
}

/// With as much room as it needs; what says more the narrower it is knows that only in the end.
void present(QWidget &widget, const QString &name, const scenes::Visitor &visit)
{
    widget.show();
    settle();
    QSize needed = widget.size().expandedTo(widget.minimumSizeHint());
    if (widget.hasHeightForWidth())
        needed.setHeight(
            std::max(needed.height(), widget.layout()->totalMinimumHeightForWidth(needed.width())));
    widget.resize(needed);
    settle();
    visit(widget, name);
}

void sayMissing(const QList<MissingPart> &parts)
{
    NoticeStrip::setLines(MissingParts::lines(parts));
}

/// A screen as its window shows it, without the window's menu bar.
void showScreen(const QString &identifier, const QString &name, const scenes::Visitor &visit)
{
    const std::shared_ptr<Screen> screen = makeMainStoryboard()->instantiateNamed(identifier);
    screen->loadedView()->resize(screen->preferredContentSize());
    present(*screen->loadedView(), name, visit);
}

void showHome(const scenes::Visitor &visit)
{
    QWidget widget;
    Ui::HomeVC ui;
    ui.setupUi(&widget);
    widget.resize(400, 650);
    const auto fill = [&ui](void (*fillStoreSomehow)()) {
        fillStoreSomehow();
        ui.favorites->reloadData();
        ui.countries->reloadData();
    };
    const auto setStatus = [&ui](const QString &status) {
        const bool isDown = status == u"Disconnected"_s;
        ui.connectStatusText->setText(status);
        ui.connectText->setText(isDown ? u"Quick Connect"_s : u"Disconnect"_s);
        ui.connectButton->setImageNamed(isDown ? u"power"_s : u"power1"_s);
        ui.statusCard->setProtected(status == u"Connected"_s);
    };
    setStatus(u"Disconnected"_s);
    fill([] { ServiceManager::shared() = {}; });
    present(widget, u"home-empty"_s, visit);
    fill(fillStore);
    present(widget, u"home"_s, visit);
    setStatus(u"Connected"_s);
    ui.countries->selectRow(2);
    present(widget, u"connected"_s, visit);
    ui.favorites->selectEndpointSilently(7);
    ui.countries->selectEndpointSilently(-1);
    ui.updateModal->setVisible(true);
    present(widget, u"update"_s, visit);
    ui.updateModal->setVisible(false);
    ui.installModal->setVisible(true);
    present(widget, u"install"_s, visit);
    ui.installModal->setVisible(false);
    setStatus(u"Reasserting Connection"_s);
    using Missing = MissingPart;
    sayMissing({Missing::NetworkManager, Missing::VPNPlugin, Missing::UnlockedKeyring});
    present(widget, u"home-missing"_s, visit);
    sayMissing({});
    setStatus(u"Disconnected"_s);
    fill(fillStoreToTheBrim);
    ui.countries->selectRow(1);
    present(widget, u"home-long"_s, visit);
}

void showAlert(const scenes::Visitor &visit)
{
    const QString sentence = u"The user name or the password is wrong. "_s;
    MessageDialog alert(nullptr, u"Alert"_s, sentence, u"OK"_s);
    present(alert, u"alert"_s, visit);
    MessageDialog longAlert(nullptr, u"Alert"_s, sentence.repeated(50) + QString(500, u'x'), u"OK"_s);
    present(longAlert, u"alert-long"_s, visit);
}

} // namespace

void scenes::showAll(const Visitor &visit)
{
    showScreen(u"LoginVC"_s, u"login"_s, visit);
    sayMissing({MissingPart::UnlockedKeyring});
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
