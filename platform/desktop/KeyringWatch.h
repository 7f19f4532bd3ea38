#pragma once

#include "platform/desktop/BusNameWatch.h"

namespace velmora {

/// What state the desktop's Secret Service is in: whether there is one, and whether its default collection
/// can be read and written. Follows the service's own news, starts nothing and asks the user for nothing.
class KeyringWatch final : public QObject
{
    Q_OBJECT

public:
    /// `Unknown` also stands for a service that does not answer, and for one that is started when it is
    /// needed.
    enum class State { Unknown, Absent, WithoutCollection, Locked, Open };

    KeyringWatch();
    ~KeyringWatch() override;

    State state() const { return known; }

Q_SIGNALS:
    void changed();

private:
    void serviceChanged();
    void follow(const char *interface, const char *firstArgument);
    void unfollow();
    void askForCollection();
    void askWhetherLocked(const QByteArray &collection);
    void call(const QByteArray &path, const char *interface, const char *method, GVariant *arguments,
              const char *replyType, const std::function<void(GVariant *)> &answered);
    void become(State state);

    BusNameWatch service;
    /// The service's owner and the connection that its signals are followed on.
    QByteArray followed;
    GObjectPtr<GDBusConnection> bus;
    std::vector<guint> subscriptions;
    std::unique_ptr<GLibCalls> calls;
    State known = State::Unknown;
};

} // namespace velmora
