#include "app/StatusItem.h"

#include "resources/Pictures.h"

#include <QGuiApplication>
#include <QSystemTrayIcon>

#include <utility>

namespace velmora {

using namespace Qt::StringLiterals;

StatusItem::StatusItem() : item(QGuiApplication::applicationDisplayName())
{
    connect(&item, &StatusNotifierItem::clicked, this, &StatusItem::runAction);
    connect(&item, &StatusNotifierItem::hostChanged, this, &StatusItem::followHost);
}

StatusItem::~StatusItem() = default;

void StatusItem::setImageNamed(const QString &name)
{
    image = name;
    item.setIcon(pictures::colouredIcon(name));
    if (trayIcon) {
        trayIcon->setIcon(item.icon());
        followHost();
    }
}

void StatusItem::setAction(Action newAction)
{
    action = std::move(newAction);
}

bool StatusItem::hasHost() const
{
    return item.hasHost() || (trayIcon && trayIcon->isVisible() && QSystemTrayIcon::isSystemTrayAvailable());
}

void StatusItem::followHost()
{
    const bool isX11 = QGuiApplication::platformName() == u"xcb"_s;
    if (isX11 && !item.hasHost() && !trayIcon) {
        // Made only now: at its first use Qt asks once for all whether there is a host on the bus, and with
        // none it keeps to X11, also when a tray comes later.
        trayIcon = std::make_unique<QSystemTrayIcon>(item.icon());
        trayIcon->setToolTip(item.title());
        connect(trayIcon.get(), &QSystemTrayIcon::activated, this, [this](auto reason) {
            if (reason == QSystemTrayIcon::Trigger)
                runAction({});
        });
    }
    if (trayIcon)
        trayIcon->setVisible(!item.hasHost() && !item.icon().isNull());
}

void StatusItem::runAction(const QString &activationToken) const
{
    if (action)
        action(activationToken);
}

} // namespace velmora
