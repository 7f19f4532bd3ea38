// Draws the screens with sample data into pictures, to be looked at.
#include "api/ServiceManager.h"
#include "app/MainStoryboard.h"
#include "ui/Screen.h"
#include "ui/Style.h"
#include "ui_HomeVC.h"
#include "ui_ViewController.h"

#include <QApplication>
#include <QProcess>

using namespace velmora;
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

void save(QWidget &widget, const QString &name)
{
    QApplication::processEvents();
    QApplication::processEvents();
    const QString path = qApp->arguments().value(1, u"."_s) + u'/' + name + u".png"_s;
    widget.grab().save(path);
}

/// A screen as its window shows it, without the window's menu bar.
void saveScreen(const QString &identifier, const QString &name)
{
    const std::shared_ptr<Screen> screen = makeMainStoryboard()->instantiate(identifier);
    const QSize size = screen->preferredContentSize();
    QWidget *const view = screen->loadedView();
    view->resize(size.expandedTo(view->minimumSizeHint()));
    view->show();
    save(*view, name);
}

void takeShots(const QString &suffix)
{
    saveScreen(u"ForgotVC"_s, u"reset"_s + suffix);
    saveScreen(u"SettingsVC"_s, u"settings"_s + suffix);
    for (const QString &number : {u"1"_s, u"2"_s, u"3"_s})
        saveScreen(u"Notification%1VC"_s.arg(number), u"notice-%1"_s.arg(number) + suffix);
    {
        QWidget widget;
        Ui::ViewController ui;
        ui.setupUi(&widget);
        ui.usernameTextfield->setText(u"demo"_s);
        widget.resize(QSize(400, 650).expandedTo(widget.minimumSizeHint()));
        widget.show();
        save(widget, u"login"_s + suffix);
    }
    fillStore();
    {
        Home home;
        save(home.widget, u"home"_s + suffix);
        home.ui.countries->selectRow(2);
        home.setConnected(true);
        save(home.widget, u"connected"_s + suffix);
        home.ui.favorites->selectEndpointSilently(10);
        home.ui.countries->selectEndpointSilently(-1);
        home.ui.updateModal->setVisible(true);
        save(home.widget, u"update"_s + suffix);
        home.ui.updateModal->setVisible(false);
        home.ui.installModal->setVisible(true);
        save(home.widget, u"install"_s + suffix);
    }
    ServiceManager::shared() = {};
    {
        Home home;
        save(home.widget, u"empty"_s + suffix);
    }
}

} // namespace

int main(int argc, char *argv[])
{
    const bool isDoubled = qEnvironmentVariableIsSet("QT_SCALE_FACTOR");
    QApplication application(argc, argv);
    Style::install();
    if (isDoubled) {
        takeShots(u"-200-percent"_s);
        return 0;
    }
    takeShots(u"-light"_s);
    Style::setDark(true);
    takeShots(u"-dark"_s);
    Style::setDark(false);
    QApplication::setLayoutDirection(Qt::RightToLeft);
    takeShots(u"-right-to-left"_s);
    QApplication::setLayoutDirection(Qt::LeftToRight);
    QFont large = QApplication::font();
    large.setPointSizeF(large.pointSizeF() * 1.75);
    QApplication::setFont(large);
    takeShots(u"-large-font"_s);

    // The scale is chosen when a process starts.
    QProcess doubled;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"QT_SCALE_FACTOR"_s, u"2"_s);
    doubled.setProcessEnvironment(environment);
    doubled.setProcessChannelMode(QProcess::ForwardedChannels);
    doubled.start(QCoreApplication::applicationFilePath(), QCoreApplication::arguments().mid(1));
    return doubled.waitForFinished() ? doubled.exitCode() : 1;
}
