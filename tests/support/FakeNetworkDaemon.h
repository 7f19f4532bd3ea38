#pragma once

#include "platform/vpn/SystemNetworkProfile.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>

namespace velmora::testing {

/// NetworkManager on the test's own bus: holds one profile and the tunnels that it is asked for, refuses what
/// it is told to refuse, and can fall silent.
class FakeNetworkDaemon final : public QDBusVirtualObject
{
public:
    FakeNetworkDaemon()
        : bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("fake")))
    {
        bus.registerVirtualObject(QStringLiteral("/"), this, QDBusConnection::SubPath);
    }
    ~FakeNetworkDaemon() override { QDBusConnection::disconnectFromBus(QStringLiteral("fake")); }

    void come() { bus.registerService(name); }
    void go()
    {
        bus.unregisterService(name);
        tunnels.clear();
    }
    void thaw()
    {
        silent = false;
        for (const QDBusMessage &message : std::exchange(held, {}))
            answer(message);
    }
    /// Somebody else removes the profile.
    void removeProfile()
    {
        saved.clear();
        emitSignal(path + QStringLiteral("/Settings"), name + QStringLiteral(".Settings"),
                   QStringLiteral("ConnectionRemoved"), {QVariant::fromValue(QDBusObjectPath(profilePath))});
    }
    QStringList permissions() const
    {
        return saved[QStringLiteral("connection")][QStringLiteral("permissions")].toStringList();
    }

    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &) override
    {
        calls << message.member();
        client = message.service();
        if (silent)
            held << message;
        else
            answer(message);
        return true;
    }

    QDBusConnection bus;
    SystemNetworkSettings saved;
    bool silent = false;
    /// For the next call of each method: the error's name and its message.
    QMap<QString, QPair<QString, QString>> refusals;
    QStringList calls;
    /// Who called last.
    QString client;

private:
    void emitSignal(const QString &from, const QString &interface, const QString &signal,
                    const QVariantList &arguments)
    {
        QDBusMessage message = QDBusMessage::createSignal(from, interface, signal);
        message.setArguments(arguments);
        bus.send(message);
    }
    QVariantMap activeConnections() const
    {
        QList<QDBusObjectPath> paths;
        for (const QString &tunnel : tunnels)
            paths << QDBusObjectPath(tunnel);
        return {{QStringLiteral("ActiveConnections"), QVariant::fromValue(paths)}};
    }
    void answer(const QDBusMessage &message)
    {
        const QString method = message.member();
        const auto argument = [&message] {
            return qdbus_cast<SystemNetworkSettings>(message.arguments().value(0));
        };
        const auto reply = [this, &message](const QVariantList &values) {
            bus.send(message.createReply(values));
        };
        if (refusals.contains(method)) {
            const auto [error, words] = refusals.take(method);
            bus.send(message.createErrorReply(error, words));
        } else if (method == QStringLiteral("GetAll") && message.path() == path) {
            reply({activeConnections()});
        } else if (method == QStringLiteral("GetAll")) {
            reply({QVariantMap{{QStringLiteral("Uuid"), SystemNetworkProfile::uuid()},
                               {QStringLiteral("State"), 2U}}});
        } else if (method == QStringLiteral("GetConnectionByUuid") && saved.isEmpty()) {
            bus.send(message.createErrorReply(name + QStringLiteral(".Settings.InvalidConnection"), {}));
        } else if (method == QStringLiteral("GetConnectionByUuid")) {
            reply({QVariant::fromValue(QDBusObjectPath(profilePath))});
        } else if (method == QStringLiteral("GetSettings")) {
            reply({QVariant::fromValue(saved)});
        } else if (method == QStringLiteral("AddConnection2")) {
            saved = argument();
            reply({QVariant::fromValue(QDBusObjectPath(profilePath)), QVariantMap()});
        } else if (method == QStringLiteral("Update2")) {
            saved = argument();
            reply({QVariantMap()});
        } else if (method == QStringLiteral("ActivateConnection")) {
            tunnels << path + QStringLiteral("/ActiveConnection/") + QString::number(++number);
            emitSignal(tunnels.last(), name + QStringLiteral(".VPN.Connection"),
                       QStringLiteral("VpnStateChanged"), {3U, 0U});
            reply({QVariant::fromValue(QDBusObjectPath(tunnels.last()))});
        } else {
            reply({});
        }
    }

    const QString name = QStringLiteral("org.freedesktop.NetworkManager");
    const QString path = QStringLiteral("/org/freedesktop/NetworkManager");
    const QString profilePath = path + QStringLiteral("/Settings/1");
    QStringList tunnels;
    int number = 0;
    QList<QDBusMessage> held;
};

} // namespace velmora::testing
