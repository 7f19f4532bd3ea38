#include "platform/network/HostLookup.h"

#include "platform/network/GLibPointer.h"

#include <chrono>
#include <map>
#include <memory>
#include <utility>

namespace velmora {

namespace {

using Clock = std::chrono::steady_clock;
using InternetAddresses = std::vector<GObjectPtr<GInetAddress>>;

constexpr std::chrono::seconds rememberedFor{60};

struct Remembered
{
    InternetAddresses addresses;
    Clock::time_point until;
};

/// The addresses that were resolved lately, by name.
std::map<QString, Remembered> &memory()
{
    static std::map<QString, Remembered> resolved;
    return resolved;
}

void append(SocketAddresses &addresses, GInetAddress *internet, quint16 port)
{
    const GObjectPtr<GSocketAddress> full(g_inet_socket_address_new(internet, port));
    SocketAddress address;
    if (!g_socket_address_to_native(full.get(), &address.storage, sizeof(address.storage), nullptr))
        return;
    address.size = static_cast<socklen_t>(g_socket_address_get_native_size(full.get()));
    addresses.push_back(address);
}

struct Lookup
{
    QString name;
    quint16 port;
    std::function<void(const SocketAddresses &)> handler;
};

void lookupEnded(GObject *source, GAsyncResult *result, gpointer data)
{
    const std::unique_ptr<Lookup> lookup(static_cast<Lookup *>(data));
    GList *found = g_resolver_lookup_by_name_finish(G_RESOLVER(source), result, nullptr);
    std::erase_if(memory(), [](const auto &known) { return known.second.until < Clock::now(); });
    if (found != nullptr) {
        Remembered remembered{{}, Clock::now() + rememberedFor};
        for (const GList *link = found; link != nullptr; link = link->next)
            remembered.addresses.emplace_back(static_cast<GInetAddress *>(link->data));
        memory().insert_or_assign(lookup->name, std::move(remembered));
        g_list_free(found);
    }
    lookup->handler(knownAddresses(lookup->name, lookup->port));
}

} // namespace

SocketAddresses knownAddresses(const QString &name, quint16 port)
{
    SocketAddresses addresses;
    const GObjectPtr<GInetAddress> literal(g_inet_address_new_from_string(name.toUtf8().constData()));
    const auto remembered = memory().find(name);
    if (literal) {
        append(addresses, literal.get(), port);
    } else if (remembered != memory().end() && remembered->second.until >= Clock::now()) {
        for (const auto &internet : remembered->second.addresses)
            append(addresses, internet.get(), port);
    }
    return addresses;
}

void lookUpHost(const QString &name, quint16 port, std::function<void(const SocketAddresses &)> handler)
{
    const GObjectPtr<GResolver> resolver(g_resolver_get_default());
    auto lookup = std::make_unique<Lookup>(Lookup{name, port, std::move(handler)});
    g_resolver_lookup_by_name_async(resolver.get(), name.toUtf8().constData(), nullptr, lookupEnded,
                                    lookup.release());
}

} // namespace velmora
