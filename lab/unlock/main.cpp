// Unlocks the login collection of a running gnome-keyring with its password,
// as a person's answer to the prompt would: velmora-lab-unlock PASSWORD
// No tool does it, because the session that carries the password belongs to
// one bus connection.

#include "../service/Handles.h"

#include <cstdio>
#include <cstring>

namespace {

using velmora::lab::ErrorPtr;
using velmora::lab::ObjectPtr;

struct VariantUnref
{
    void operator()(GVariant *variant) const { g_variant_unref(variant); }
};
using VariantPtr = std::unique_ptr<GVariant, VariantUnref>;

constexpr const char *serviceName = "org.freedesktop.secrets";
constexpr const char *servicePath = "/org/freedesktop/secrets";
constexpr const char *loginCollection = "/org/freedesktop/secrets/collection/login";
constexpr int timeoutMilliseconds = 5000;

VariantPtr call(GDBusConnection *bus, const char *interface, const char *method, GVariant *arguments)
{
    GError *error = nullptr;
    VariantPtr reply(g_dbus_connection_call_sync(bus, serviceName, servicePath, interface, method, arguments,
                                                 nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START,
                                                 timeoutMilliseconds, nullptr, &error));
    if (!reply)
        std::fprintf(stderr, "%s: %s\n", method, ErrorPtr(error)->message);
    return reply;
}

bool unlock(GDBusConnection *bus, const char *password)
{
    const VariantPtr session = call(bus, "org.freedesktop.Secret.Service", "OpenSession",
                                    g_variant_new("(sv)", "plain", g_variant_new_string("")));
    if (!session)
        return false;
    const char *path = nullptr;
    g_variant_get(session.get(), "(v&o)", nullptr, &path);
    GVariant *secret = g_variant_new(
        "(o@ay@ays)", path, g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, "", 0, 1),
        g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, password, std::strlen(password), 1), "text/plain");
    return call(bus, "org.gnome.keyring.InternalUnsupportedGuiltRiddenInterface", "UnlockWithMasterPassword",
                g_variant_new("(o@(oayays))", loginCollection, secret)) != nullptr;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: velmora-lab-unlock PASSWORD\n");
        return 2;
    }
    GError *error = nullptr;
    const ObjectPtr<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error));
    if (!bus) {
        std::fprintf(stderr, "no session bus: %s\n", ErrorPtr(error)->message);
        return 1;
    }
    return unlock(bus.get(), argv[1]) ? 0 : 1;
}
