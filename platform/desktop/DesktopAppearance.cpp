#include "platform/desktop/DesktopAppearance.h"

#include "platform/network/GLibPointer.h"

#include <chrono>
#include <optional>

namespace velmora {

namespace {

constexpr auto portalName = "org.freedesktop.portal.Desktop";
constexpr auto portalPath = "/org/freedesktop/portal/desktop";
constexpr auto settingsInterface = "org.freedesktop.portal.Settings";
constexpr auto appearanceNamespace = "org.freedesktop.appearance";
constexpr auto colorSchemeKey = "color-scheme";
constexpr guint32 preferDark = 1;

/// How long the first window waits, so that it need not change its look in front of the user.
constexpr std::chrono::milliseconds patience{150};

/// The number in a setting's value, which the portal may wrap more than once.
std::optional<guint32> numberIn(GVariant *value)
{
    GVariantPtr inner(g_variant_ref(value));
    while (g_variant_is_of_type(inner.get(), G_VARIANT_TYPE_VARIANT))
        inner.reset(g_variant_get_variant(inner.get()));
    if (!g_variant_is_of_type(inner.get(), G_VARIANT_TYPE_UINT32))
        return std::nullopt;
    return g_variant_get_uint32(inner.get());
}

} // namespace

struct DesktopAppearance::Portal
{
    explicit Portal(Handler answerHandler) : handler(std::move(answerHandler)) {}
    ~Portal();
    Portal(const Portal &) = delete;
    Portal &operator=(const Portal &) = delete;

    void subscribe();
    void read();
    void readLater();
    void answer(GVariant *value) const;

    const Handler handler;
    const GObjectPtr<GDBusConnection> bus{g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr)};
    const GObjectPtr<GCancellable> cancellable{g_cancellable_new()};
    guint subscription = 0;
};

DesktopAppearance::Portal::~Portal()
{
    g_cancellable_cancel(cancellable.get());
    if (subscription != 0)
        g_dbus_connection_signal_unsubscribe(bus.get(), subscription);
}

void DesktopAppearance::Portal::subscribe()
{
    const auto changed = [](GDBusConnection *, const char *, const char *, const char *, const char *,
                            GVariant *parameters, gpointer self) {
        const char *key = nullptr;
        GVariant *value = nullptr;
        g_variant_get(parameters, "(&s&sv)", nullptr, &key, &value);
        const GVariantPtr held(value);
        if (g_str_equal(key, colorSchemeKey))
            static_cast<Portal *>(self)->answer(value);
    };
    subscription = g_dbus_connection_signal_subscribe(bus.get(), portalName, settingsInterface,
                                                      "SettingChanged", portalPath, appearanceNamespace,
                                                      G_DBUS_SIGNAL_FLAGS_NONE, changed, this, nullptr);
}

void DesktopAppearance::Portal::read()
{
    GError *failure = nullptr;
    const GVariantPtr reply(g_dbus_connection_call_sync(
        bus.get(), portalName, portalPath, settingsInterface, "Read",
        g_variant_new("(ss)", appearanceNamespace, colorSchemeKey), G_VARIANT_TYPE("(v)"),
        G_DBUS_CALL_FLAGS_NONE, static_cast<int>(patience.count()), nullptr, &failure));
    const GErrorPtr error(failure);
    if (reply)
        answer(GVariantPtr(g_variant_get_child_value(reply.get(), 0)).get());
    else if (g_error_matches(failure, G_IO_ERROR, G_IO_ERROR_TIMED_OUT) != FALSE)
        readLater();
}

void DesktopAppearance::Portal::readLater()
{
    const auto ended = [](GObject *connection, GAsyncResult *result, gpointer self) {
        const GVariantPtr reply(
            g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, nullptr));
        // A call that was cancelled ends without a reply, and its owner is gone.
        if (reply)
            static_cast<Portal *>(self)->answer(GVariantPtr(g_variant_get_child_value(reply.get(), 0)).get());
    };
    g_dbus_connection_call(bus.get(), portalName, portalPath, settingsInterface, "Read",
                           g_variant_new("(ss)", appearanceNamespace, colorSchemeKey), G_VARIANT_TYPE("(v)"),
                           G_DBUS_CALL_FLAGS_NONE, -1, cancellable.get(), ended, this);
}

void DesktopAppearance::Portal::answer(GVariant *value) const
{
    if (const std::optional<guint32> number = numberIn(value))
        handler(number == preferDark);
}

DesktopAppearance::DesktopAppearance(Handler handler) : portal(std::make_unique<Portal>(std::move(handler)))
{
    if (!portal->bus)
        return;
    portal->subscribe();
    portal->read();
}

DesktopAppearance::~DesktopAppearance() = default;

} // namespace velmora
