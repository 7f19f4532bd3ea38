#pragma once

#include "platform/network/GLibCalls.h"

#include <QByteArray>
#include <QObject>
#include <QTimer>

#include <vector>

namespace velmora {

/// Whether a well-known name on a bus has an owner or would get one as soon as somebody calls it. Follows the
/// bus's own news, polls nothing and starts no service.
class BusNameWatch final : public QObject
{
    Q_OBJECT

public:
    enum class Bus { Session, System };
    enum class Presence {
        /// The bus has not answered yet.
        Unknown,
        Absent,
        /// Without an owner; the bus knows how to start one.
        Activatable,
        Owned,
    };

    BusNameWatch(Bus which, QByteArray name);
    ~BusNameWatch() override;

    Presence presence() const { return known; }
    /// The connection and the unique name of the owner, while there is one.
    GDBusConnection *connection() const { return bus.get(); }
    const QByteArray &owner() const { return ownerName; }

Q_SIGNALS:
    /// The presence or the owner is another one.
    void changed();

private:
    void open();
    void opened(GObjectPtr<GDBusConnection> connection);
    void closed();
    void followNews(const char *signal, const char *firstArgument);
    void ask();
    void answered(const QByteArray &owner);
    void askWhetherActivatable();
    void become(Presence presence, const QByteArray &owner = {});

    const Bus kind;
    const QByteArray name;
    GObjectPtr<GDBusConnection> bus;
    std::vector<guint> subscriptions;
    gulong closedHandler = 0;
    /// Of the present connection's calls; a call about what has been asked anew does not count any more.
    std::unique_ptr<GLibCalls> calls;
    GLibCalls openCalls;
    QTimer retry;
    Presence known = Presence::Unknown;
    QByteArray ownerName;
};

} // namespace velmora
