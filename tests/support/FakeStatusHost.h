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
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hasHost)

public:
    FakeStatusHost();
    ~FakeStatusHost() override;

    void start();
    void stop();
    bool hasHost() const { return host; }
    /// A watcher without a panel, as some desktops start it first.
    void setHost(bool present);

    /// The bus names of the icons that asked to be shown.
    QStringList items;
    QDBusConnection bus;

public Q_SLOTS:
    void RegisterStatusNotifierItem(const QString &service);

Q_SIGNALS:
    void StatusNotifierHostRegistered();
    void StatusNotifierHostUnregistered();

private:
    bool host = true;
};

} // namespace velmora::testing
