#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QVariantMap>

namespace velmora {

/// Makes the application one for the user's session: the first process owns the application's identifier as a
/// name on the session bus and offers `org.freedesktop.Application` there (freedesktop.org, Desktop Entry). A
/// second start, a desktop's launcher or the bus itself ask it to come to the front.
class ApplicationInstance final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    enum class Role {
        /// This process is the application, also without a session bus.
        First,
        /// Another process is the application and has been asked to come to the front.
        Second,
    };

    ApplicationInstance();
    ~ApplicationInstance() override;

    /// Takes the name or passes the start on. `activationToken` is the permission to take the focus that this
    /// process was started with.
    Role claim(const QString &activationToken);

    /// Whether a process of this session is the application.
    static bool isRunning();
    /// The permission that this process was started with. Read it before the window system's connection takes
    /// it out of the environment.
    static QString activationTokenOfStart();

public Q_SLOTS:
    // There are no files to open and no actions: each call brings the application to the front.
    Q_SCRIPTABLE void Activate(const QVariantMap &platformData);
    Q_SCRIPTABLE void Open(const QStringList &, const QVariantMap &platformData) { Activate(platformData); }
    Q_SCRIPTABLE void ActivateAction(const QString &, const QVariantList &, const QVariantMap &platformData)
    {
        Activate(platformData);
    }

Q_SIGNALS:
    void activationRequested(const QString &activationToken);

private:
    bool passOn(const QString &activationToken);

    QDBusConnection bus;
};

} // namespace velmora
