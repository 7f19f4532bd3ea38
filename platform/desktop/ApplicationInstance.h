#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QVariantMap>

namespace velmora {

/// Makes the application one for the user's session: the process that owns the application's identifier as a
/// name on the session bus. It offers `org.freedesktop.Application` there, by which a second start, a
/// desktop's launcher or the bus itself ask it to come to the front.
class ApplicationInstance final : public QObject
{
    Q_OBJECT

public:
    enum class Role {
        /// This process is the application; also without a session bus.
        First,
        /// Another process is, and has been asked to come to the front.
        Second,
    };

    ApplicationInstance();
    ~ApplicationInstance() override;

    /// Takes the name or passes the start on. `activationToken` is the permission to take the focus that this
    /// process was started with.
    Role claim(const QString &activationToken);

    /// Whether a process of this session is the application.
    static bool isRunning();
    /// The permission that this process was started with; to be read before the window system's connection
    /// takes it out of the environment.
    static QString activationTokenOfStart();
    static QString objectPath();

Q_SIGNALS:
    void activationRequested(const QString &activationToken);

private:
    bool passOn(const QString &activationToken);

    QDBusConnection bus;
};

} // namespace velmora
