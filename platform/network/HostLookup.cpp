#include "platform/network/HostLookup.h"

#include <QHash>

#include <chrono>

namespace velmora {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds rememberedFor{60};

struct Remembered
{
    std::vector<QByteArray> addresses;
    Clock::time_point until;
};

QHash<QString, Remembered> &memory()
{
    static QHash<QString, Remembered> resolved;
    return resolved;
}

GObjectPtr<GInetAddress> parseAddress(const QByteArray &text)
{
    return GObjectPtr<GInetAddress>(g_inet_address_new_from_string(text.constData()));
}

struct Lookup
{
    QString name;
    GObjectPtr<GCancellable> cancellable;
    std::function<void(HostAddresses)> handler;
};

void lookupEnded(GObject *source, GAsyncResult *result, gpointer data)
{
    const std::unique_ptr<Lookup> lookup(static_cast<Lookup *>(data));
    GError *failure = nullptr;
    GList *found = g_resolver_lookup_by_name_finish(G_RESOLVER(source), result, &failure);
    const GErrorPtr error(failure);
    HostAddresses addresses;
    Remembered remembered{{}, Clock::now() + rememberedFor};
    for (GList *link = found; link != nullptr; link = link->next) {
        addresses.push_back(refObject(static_cast<GInetAddress *>(link->data)));
        const GCharPtr text(g_inet_address_to_string(addresses.back().get()));
        remembered.addresses.emplace_back(text.get());
    }
    g_resolver_free_addresses(found);
    memory().removeIf([](const auto &known) { return known->until < Clock::now(); });
    if (!addresses.empty())
        memory().insert(lookup->name, remembered);
    if (!g_cancellable_is_cancelled(lookup->cancellable.get()))
        lookup->handler(std::move(addresses));
}

} // namespace

HostAddresses rememberedAddresses(const QString &name)
{
    HostAddresses addresses;
    if (auto literal = parseAddress(name.toUtf8())) {
        addresses.push_back(std::move(literal));
        return addresses;
    }
    const auto remembered = memory().constFind(name);
    if (remembered == memory().constEnd() || remembered->until < Clock::now())
        return addresses;
    for (const QByteArray &text : remembered->addresses)
        addresses.push_back(parseAddress(text));
    return addresses;
}

void lookUpHost(const QString &name, GCancellable *cancellable, std::function<void(HostAddresses)> handler)
{
    const GObjectPtr<GResolver> resolver(g_resolver_get_default());
    auto lookup = std::make_unique<Lookup>();
    lookup->name = name;
    lookup->cancellable = refObject(cancellable);
    lookup->handler = std::move(handler);
    g_resolver_lookup_by_name_async(resolver.get(), name.toUtf8().constData(), cancellable, lookupEnded,
                                    lookup.release());
}

} // namespace velmora
