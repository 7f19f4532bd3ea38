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

/// All hosts use these names, also outside KDE.
const QString watcherService = u"org.kde.StatusNotifierWatcher"_s;
const QString watcherPath = u"/StatusNotifierWatcher"_s;

/// A panel may start the X11 system tray shortly before its StatusNotifier host.
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

StatusItem::StatusItem() : bus(QDBusConnection::sessionBus())
{
    qApp->installNativeEventFilter(this);
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
        else if (windowsystem::hasSystemTray())
            QTimer::singleShot(systemTrayDelay, this, [this] { makeIcon(false); });
    });
}

bool StatusItem::nativeEventFilter(const QByteArray &type, void *message, qintptr *)
{
    if (windowsystem::announcesManager(type, message))
        lookForHost();
    return false;
}

void StatusItem::makeIcon(bool onBus)
{
    if (icon)
        return;
    isOnBus = onBus;
    qApp->removeNativeEventFilter(this);
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

/// A host that rejects an icon only removes it from its list.
bool StatusItem::isListedByHost() const
{
    const QDBusReply<QDBusVariant> reply = bus.call(propertyCall(u"RegisteredStatusNotifierItems"_s),
                                                    QDBus::Block, static_cast<int>(hostTimeout.count()));
    const QStringList items = reply.value().variant().toStringList();
    const auto processOf = [this](const QString &name) {
        return bus.interface()->servicePid(name).value();
    };
    // An item is a bus name and an object path. Qt registers the icon on a connection of its own.
    return std::any_of(items.begin(), items.end(), [&](const QString &item) {
        return processOf(item.section(u'/', 0, 0)) == processOf(bus.baseService());
    });
}

void StatusItem::runAction()
{
    // Qt puts the host's token there.
    const QString token = qEnvironmentVariable("XDG_ACTIVATION_TOKEN");
    qunsetenv("XDG_ACTIVATION_TOKEN");
    action(token);
}

} // namespace velmora
