#pragma once

#include "platform/keyring/SecretStore.h"

#include <QTimer>

#include <chrono>
#include <memory>

namespace velmora {

class SecretConversation;

/// The Secret Service of the user's session. Items lie in the default collection; a reference is the D-Bus
/// object path of the item.
///
/// A conversation with the service is costly to open, so questions that follow one another share one.
class SystemSecretStore final : public SecretStore
{
public:
    SystemSecretStore();
    ~SystemSecretStore() override;
    SystemSecretStore(const SystemSecretStore &) = delete;
    SystemSecretStore &operator=(const SystemSecretStore &) = delete;

    Result<> store(const QString &service, const QString &key, const QString &text) override;
    Result<> remove(const QString &service, const QString &key) override;
    Result<std::optional<QString>> read(const QString &service, const QString &key) override;
    Result<std::optional<QByteArray>> persistentReference(const QString &service,
                                                          const QString &key) override;
    Result<std::optional<QString>> resolve(const QByteArray &reference, const QString &service,
                                           const QString &key) override;
    Result<> unlock() override;

private:
    /// Runs a question to its end within the limit; once more where another service has come meanwhile.
    template<class Answer, class Question>
    Answer ask(std::chrono::milliseconds limit, Question question);

    std::unique_ptr<SecretConversation> conversation;
    /// Ends the conversation when nothing has been asked for a while: it is not to hear what others do with
    /// the service.
    QTimer end;
};

} // namespace velmora
