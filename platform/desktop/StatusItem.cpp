#include "platform/desktop/StatusItem.h"

#include "platform/desktop/WindowSystem.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QGuiApplication>
#include <QMenu>
#include <QSystemTrayIcon>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <utility>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

/// The names that all hosts use, also outside KDE.
const QString watcherService = u"org.kde.StatusNotifierWatcher"_s;
const QString watcherPath = u"/StatusNotifierWatcher"_s;

/// A panel may offer the X11 system tray a moment before it offers the better interface.
constexpr std::chrono::milliseconds systemTrayDelay = 1s;
constexpr std::chrono::milliseconds hostTimeout = 1s;

QDBusMessage propertyCall(const QString &property)
{
    QDBusMessage call = QDBusMessage::createMethodCall(watcherService, watcherPath,
                                                       u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
    call << watcherService << property;
    call.setAutoStartService(false);
    return call;
}

} // namespace

StatusItem::StatusItem() : bus(QDBusConnection::sessionBus()), systemTray(std::make_unique<SystemTrayWatch>())
{
    connect(systemTray.get(), &SystemTrayWatch::appeared, this, &StatusItem::lookForHost);
    if (bus.isConnected()) {
        auto *const watcher =
            new QDBusServiceWatcher(watcherService, bus, QDBusServiceWatcher::WatchForRegistration, this);
        connect(watcher, &QDBusServiceWatcher::serviceRegistered, this, &StatusItem::lookForHost);
        bus.connect(watcherService, watcherPath, watcherService, u"StatusNotifierHostRegistered"_s, this,
                    SLOT(lookForHost()));
    }
    lookForHost();
}

StatusItem::~StatusItem() = default;

void StatusItem::configureButton(const QIcon &newImage, Action newAction)
{
    image = newImage;
    action = std::move(newAction);
}

void StatusItem::lookForHost()
{
    if (icon)
        return;
    auto *const answer =
        new QDBusPendingCallWatcher(bus.asyncCall(propertyCall(u"IsStatusNotifierHostRegistered"_s)), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer] {
        answer->deleteLater();
        const QDBusPendingReply<QDBusVariant> reply = *answer;
        if (reply.isValid() && reply.value().variant().toBool())
            makeIcon(true);
        else if (SystemTrayWatch::isPresent())
            QTimer::singleShot(systemTrayDelay, this, [this] { makeIcon(false); });
    });
}

void StatusItem::makeIcon(bool onBus)
{
    if (icon)
        return;
    isOnBus = onBus;
    systemTray.reset();
    if (image.isNull()) {
        QPixmap empty(22, 22);
        empty.fill(Qt::transparent);
        image = empty;
    }
    icon = std::make_unique<QSystemTrayIcon>(image, this);
    icon->setToolTip(QGuiApplication::applicationDisplayName());
    if (action) {
        menu = std::make_unique<QMenu>();
        menu->addAction(u"Open Velmora"_s, this, &StatusItem::runAction);
        menu->addAction(u"Quit Velmora"_s, qApp, &QCoreApplication::quit, Qt::QueuedConnection);
        icon->setContextMenu(menu.get());
        connect(icon.get(), &QSystemTrayIcon::activated, this, [this](auto reason) {
            if (reason == QSystemTrayIcon::Trigger)
                runAction();
        });
    }
    icon->show();
}

bool StatusItem::isShown() const
{
    return icon && action && QSystemTrayIcon::isSystemTrayAvailable() && (!isOnBus || isListedByHost());
}

/// A host that finds an icon unfit drops it and says so in its list alone.
bool StatusItem::isListedByHost() const
{
    const QDBusReply<QDBusVariant> reply = bus.call(propertyCall(u"RegisteredStatusNotifierItems"_s),
                                                    QDBus::Block, static_cast<int>(hostTimeout.count()));
    const QStringList items = reply.value().variant().toStringList();
    const auto processOf = [this](const QString &name) {
        return bus.interface()->servicePid(name).value();
    };
    // Each is a bus name with an object path behind it; Qt registers the icon from a connection of its own.
    return std::any_of(items.begin(), items.end(),
                       [&processOf, own = processOf(bus.baseService())](const QString &item) {
                           return processOf(item.section(u'/', 0, 0)) == own;
                       });
}

void StatusItem::runAction()
{
    // Qt leaves the host's token here.
    const QString token = qEnvironmentVariable("XDG_ACTIVATION_TOKEN");
    qunsetenv("XDG_ACTIVATION_TOKEN");
    action(token);
}

} // namespace velmora
