#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QStringList>

namespace velmora::testing {

/// A panel that shows status icons, on a bus connection of its own: there from `start()` to `stop()`.
class FakeStatusHost final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered MEMBER host)

public:
    FakeStatusHost() { bus.registerObject(path, this, QDBusConnection::ExportAllContents); }
    ~FakeStatusHost() override
    {
        stop();
        bus.unregisterObject(path);
        QDBusConnection::disconnectFromBus(bus.name());
    }

    void start() { bus.registerService(name); }
    void stop()
    {
        bus.unregisterService(name);
        items.clear();
    }
    /// A watcher without a panel, as some desktops start it first.
    void setHost(bool present)
    {
        host = present;
        if (present)
            Q_EMIT StatusNotifierHostRegistered();
        else
            Q_EMIT StatusNotifierHostUnregistered();
    }

    /// The bus names of the icons that asked to be shown.
    QStringList items;
    QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("panel"));

public Q_SLOTS:
    void RegisterStatusNotifierItem(const QString &service) { items.append(service); }

Q_SIGNALS:
    void StatusNotifierHostRegistered();
    void StatusNotifierHostUnregistered();

private:
    const QString path = QStringLiteral("/StatusNotifierWatcher");
    const QString name = QStringLiteral("org.kde.StatusNotifierWatcher");
    bool host = true;
};

} // namespace velmora::testing
