#include "platform/desktop/KeyringWatch.h"

#include <utility>

namespace velmora {

namespace {

constexpr auto servicePath = "/org/freedesktop/secrets";
constexpr auto serviceInterface = "org.freedesktop.Secret.Service";
constexpr auto collectionInterface = "org.freedesktop.Secret.Collection";
constexpr auto propertiesInterface = "org.freedesktop.DBus.Properties";
/// The path that stands for "no such object".
constexpr auto noObject = "/";

} // namespace

KeyringWatch::KeyringWatch() : service(BusNameWatch::Bus::Session, "org.freedesktop.secrets")
{
    connect(&service, &BusNameWatch::changed, this, &KeyringWatch::serviceChanged);
}

KeyringWatch::~KeyringWatch()
{
    unfollow();
}

void KeyringWatch::serviceChanged()
{
    unfollow();
    if (service.presence() != BusNameWatch::Presence::Owned) {
        become(service.presence() == BusNameWatch::Presence::Absent ? State::Absent : State::Unknown);
        return;
    }
    bus = refObject(service.connection());
    followed = service.owner();
    follow(serviceInterface, nullptr);
    follow(propertiesInterface, collectionInterface);
    askForCollection();
}

void KeyringWatch::follow(const char *interface, const char *firstArgument)
{
    const auto news = [](GDBusConnection *, const char *, const char *, const char *, const char *,
                         GVariant *, gpointer self) {
        static_cast<KeyringWatch *>(self)->askForCollection();
    };
    subscriptions.push_back(
        g_dbus_connection_signal_subscribe(bus.get(), followed.constData(), interface, nullptr, nullptr,
                                           firstArgument, G_DBUS_SIGNAL_FLAGS_NONE, news, this, nullptr));
}

void KeyringWatch::unfollow()
{
    calls.reset();
    for (const guint subscription : std::exchange(subscriptions, {}))
        g_dbus_connection_signal_unsubscribe(bus.get(), subscription);
    bus.reset();
}

void KeyringWatch::askForCollection()
{
    // Whatever was asked before is out of date.
    calls = std::make_unique<GLibCalls>();
    const auto answered = [this](GVariant *reply) {
        const char *collection = nullptr;
        g_variant_get(reply, "(&o)", &collection);
        if (g_str_equal(collection, noObject))
            become(State::WithoutCollection);
        else
            askWhetherLocked(collection);
    };
    call(servicePath, serviceInterface, "ReadAlias", g_variant_new("(s)", "default"), "(o)", answered);
}

void KeyringWatch::askWhetherLocked(const QByteArray &collection)
{
    const auto answered = [this](GVariant *reply) {
        GVariant *value = nullptr;
        g_variant_get(reply, "(v)", &value);
        const GVariantPtr held(value);
        if (g_variant_is_of_type(value, G_VARIANT_TYPE_BOOLEAN))
            become(g_variant_get_boolean(value) != FALSE ? State::Locked : State::Open);
    };
    call(collection, propertiesInterface, "Get", g_variant_new("(ss)", collectionInterface, "Locked"), "(v)",
         answered);
}

/// A service that fails or does not answer leaves what is known of it as it is.
void KeyringWatch::call(const QByteArray &path, const char *interface, const char *method,
                        GVariant *arguments, const char *replyType,
                        const std::function<void(GVariant *)> &answered)
{
    const auto ended = [this, answered](GAsyncResult *result) {
        const GVariantPtr reply(g_dbus_connection_call_finish(bus.get(), result, nullptr));
        if (reply)
            answered(reply.get());
    };
    g_dbus_connection_call(bus.get(), followed.constData(), path.constData(), interface, method, arguments,
                           G_VARIANT_TYPE(replyType), G_DBUS_CALL_FLAGS_NO_AUTO_START, -1,
                           calls->cancellable(), GLibCalls::ready, calls->expect(ended));
}

void KeyringWatch::become(State state)
{
    if (std::exchange(known, state) != state)
        Q_EMIT changed();
}

} // namespace velmora
