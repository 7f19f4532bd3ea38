#pragma once

#include "platform/keyring/SecretService.h"
#include "platform/keyring/SecretStore.h"

#include <utility>

namespace velmora {

/// The store in the Secret Service of the user's session. Items lie in the default collection; a reference is
/// the D-Bus object path of the item, or the path "/" while the item is in memory only.
class SystemSecretStore final : public SecretStore
{
    Q_OBJECT

public:
    Result<> store(const QString &serviceName, const QString &key, const QString &text) override
    {
        return keep({serviceName, key}, text);
    }
    Result<> remove(const QString &serviceName, const QString &key) override
    {
        return keep({serviceName, key}, std::nullopt);
    }
    Result<std::optional<QString>> read(const QString &serviceName, const QString &key) override
    {
        return resolve(SecretService::noPath.data(), serviceName, key);
    }
    Result<std::optional<QByteArray>> persistentReference(const QString &service,
                                                          const QString &key) override;
    Result<std::optional<QString>> resolve(const QByteArray &reference, const QString &service,
                                           const QString &key) override;
    void unlock() override;
    QList<MissingPart> missing() const override { return lacking ? QList{*lacking} : QList<MissingPart>(); }

private:
    /// Service and key.
    using Name = std::pair<QString, QString>;
    using Paths = QList<QDBusObjectPath>;

    // These are parts of an operation of the service.
    /// The unlocked items of this name, and the locked ones.
    std::pair<Paths, Paths> search(const Name &name);
    /// The item that counts, or an empty path: the preferred one where it is there, else the newest one.
    QString find(const Name &name, const QString &preferred = SecretService::noPath);
    void create(const Name &name, const QString &text);
    void erase(const Name &name);
    void perform(const QDBusObjectPath &prompt, const Name &name);

    /// Keeps a text, or a removal, in memory until the service has taken it.
    Result<> keep(const Name &name, const std::optional<QString> &text);
    /// Hands the service what is kept under this name.
    Result<> write(const Name &name);

    /// Asks the service, beside the event loop, for the state that it is in.
    void look();
    void lookInto(const QDBusObjectPath &collection);
    void looked(std::optional<MissingPart> found, const Paths &locked = {});
    void report(std::optional<MissingPart> part);
    /// Has the service ask the user for what is missing, once for each object.
    void askUser(MissingPart part, Paths objects);
    void ask(const QString &method, const QVariantList &arguments);

    SecretService service;
    QMap<Name, std::optional<QString>> kept;
    std::optional<MissingPart> lacking;
    bool isOpen = false;
    /// From the launch until the store is open for the first time.
    bool mayAsk = false;
    Paths asked;
};

} // namespace velmora
