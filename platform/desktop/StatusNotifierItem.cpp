#include "platform/desktop/StatusNotifierItem.h"

#include "platform/desktop/StatusNotifierAdaptor.h"

#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>

#include <utility>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

// Names that are fixed by what is in use, whatever the desktop.
const QString watcherService = u"org.kde.StatusNotifierWatcher"_s;
const QString watcherPath = u"/StatusNotifierWatcher"_s;
const QString itemPath = u"/StatusNotifierItem"_s;

} // namespace

StatusNotifierItem::StatusNotifierItem(const QString &title)
    : bus(QDBusConnection::sessionBus()), watcher(new QDBusServiceWatcher(this)), itemTitle(title)
{
    if (!bus.isConnected())
        return;
    new StatusNotifierAdaptor(this);
    bus.registerObject(itemPath, this);
    watcher->setConnection(bus);
    watcher->setWatchMode(QDBusServiceWatcher::WatchForOwnerChange);
    watcher->addWatchedService(watcherService);
    connect(watcher, &QDBusServiceWatcher::serviceRegistered, this, &StatusNotifierItem::registerAtWatcher);
    connect(watcher, &QDBusServiceWatcher::serviceUnregistered, this, [this] { setHostPresent(false); });
    for (const QString &change : {u"StatusNotifierHostRegistered"_s, u"StatusNotifierHostUnregistered"_s})
        bus.connect(watcherService, watcherPath, watcherService, change, this, SLOT(askForHost()));
    registerAtWatcher();
}

StatusNotifierItem::~StatusNotifierItem()
{
    bus.unregisterObject(itemPath);
}

void StatusNotifierItem::registerAtWatcher()
{
    QDBusMessage call = QDBusMessage::createMethodCall(watcherService, watcherPath, watcherService,
                                                       u"RegisterStatusNotifierItem"_s);
    // The client has one icon, so the connection's own name is enough to find it.
    call << bus.baseService();
    call.setAutoStartService(false);
    bus.asyncCall(call);
    askForHost();
}

void StatusNotifierItem::askForHost()
{
    QDBusMessage call = QDBusMessage::createMethodCall(watcherService, watcherPath,
                                                       u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
    call << watcherService << u"IsStatusNotifierHostRegistered"_s;
    call.setAutoStartService(false);
    auto *const waiting = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
    connect(waiting, &QDBusPendingCallWatcher::finished, this, [this, waiting] {
        const QDBusPendingReply<QDBusVariant> reply = *waiting;
        setHostPresent(reply.isValid() && reply.value().variant().toBool());
        waiting->deleteLater();
    });
}

void StatusNotifierItem::setHostPresent(bool present)
{
    if (std::exchange(hostPresent, present) != present || !hostKnown) {
        hostKnown = true;
        Q_EMIT hostChanged();
    }
}

void StatusNotifierItem::setIcon(const QIcon &icon)
{
    itemIcon = icon;
    Q_EMIT iconChanged();
}

void StatusNotifierItem::click()
{
    Q_EMIT clicked(std::exchange(activationToken, {}));
}

} // namespace velmora
