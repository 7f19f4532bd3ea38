#include "platform/desktop/BusNameWatch.h"

#include <chrono>
#include <utility>

namespace velmora {

namespace {

using namespace std::chrono_literals;

constexpr auto busName = "org.freedesktop.DBus";
constexpr auto busPath = "/org/freedesktop/DBus";
constexpr std::chrono::milliseconds retryInterval = 2s;
constexpr int callLimitMilliseconds = 10000;

} // namespace

BusNameWatch::BusNameWatch(Bus which, QByteArray watchedName) : kind(which), name(std::move(watchedName))
{
    retry.setSingleShot(true);
    retry.setInterval(retryInterval);
    connect(&retry, &QTimer::timeout, this, &BusNameWatch::open);
    open();
}

BusNameWatch::~BusNameWatch()
{
    closed();
}

void BusNameWatch::open()
{
    g_bus_get(kind == Bus::System ? G_BUS_TYPE_SYSTEM : G_BUS_TYPE_SESSION, openCalls.cancellable(),
              GLibCalls::ready, openCalls.expect([this](GAsyncResult *result) {
                  opened(GObjectPtr<GDBusConnection>(g_bus_get_finish(result, nullptr)));
              }));
}

void BusNameWatch::opened(GObjectPtr<GDBusConnection> connection)
{
    if (!connection || g_dbus_connection_is_closed(connection.get()) != FALSE) {
        become(Presence::Absent);
        // A session ends with its bus; the system's may be started again.
        if (kind == Bus::System)
            retry.start();
        return;
    }
    bus = std::move(connection);
    g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
    const auto lost = [](gpointer self) {
        // Not from under the signals of what is let go.
        auto *watch = static_cast<BusNameWatch *>(self);
        const auto reopen = [watch] {
            watch->closed();
            watch->opened(nullptr);
        };
        QMetaObject::invokeMethod(watch, reopen, Qt::QueuedConnection);
    };
    closedHandler = g_signal_connect_swapped(bus.get(), "closed",
                                             G_CALLBACK(static_cast<void (*)(gpointer)>(lost)), this);
    followNews("NameOwnerChanged", name.constData());
    followNews("ActivatableServicesChanged", nullptr);
    ask();
}

void BusNameWatch::closed()
{
    calls.reset();
    if (!bus)
        return;
    for (const guint subscription : std::exchange(subscriptions, {}))
        g_dbus_connection_signal_unsubscribe(bus.get(), subscription);
    g_signal_handler_disconnect(bus.get(), closedHandler);
    bus.reset();
}

void BusNameWatch::followNews(const char *signal, const char *firstArgument)
{
    const auto news = [](GDBusConnection *, const char *, const char *, const char *, const char *,
                         GVariant *, gpointer self) {
        static_cast<BusNameWatch *>(self)->ask();
    };
    subscriptions.push_back(g_dbus_connection_signal_subscribe(bus.get(), busName, busName, signal, busPath,
                                                               firstArgument, G_DBUS_SIGNAL_FLAGS_NONE, news,
                                                               this, nullptr));
}

void BusNameWatch::ask()
{
    calls = std::make_unique<GLibCalls>();
    const auto ended = [this](GAsyncResult *result) {
        const GVariantPtr reply(g_dbus_connection_call_finish(bus.get(), result, nullptr));
        const char *owner = "";
        if (reply)
            g_variant_get(reply.get(), "(&s)", &owner);
        answered(owner);
    };
    g_dbus_connection_call(bus.get(), busName, busPath, busName, "GetNameOwner",
                           g_variant_new("(s)", name.constData()), G_VARIANT_TYPE("(s)"),
                           G_DBUS_CALL_FLAGS_NONE, callLimitMilliseconds, calls->cancellable(),
                           GLibCalls::ready, calls->expect(ended));
}

void BusNameWatch::answered(const QByteArray &owner)
{
    if (owner.isEmpty())
        askWhetherActivatable();
    else
        become(Presence::Owned, owner);
}

void BusNameWatch::askWhetherActivatable()
{
    const auto ended = [this](GAsyncResult *result) {
        const GVariantPtr reply(g_dbus_connection_call_finish(bus.get(), result, nullptr));
        if (!reply)
            return;
        const GVariantPtr names(g_variant_get_child_value(reply.get(), 0));
        const std::unique_ptr<const char *, GFree> list(g_variant_get_strv(names.get(), nullptr));
        const bool isListed = g_strv_contains(list.get(), name.constData()) != FALSE;
        become(isListed ? Presence::Activatable : Presence::Absent);
    };
    g_dbus_connection_call(bus.get(), busName, busPath, busName, "ListActivatableNames", nullptr,
                           G_VARIANT_TYPE("(as)"), G_DBUS_CALL_FLAGS_NONE, callLimitMilliseconds,
                           calls->cancellable(), GLibCalls::ready, calls->expect(ended));
}

void BusNameWatch::become(Presence presence, const QByteArray &owner)
{
    if (known == presence && ownerName == owner)
        return;
    known = presence;
    ownerName = owner;
    Q_EMIT changed();
}

} // namespace velmora
