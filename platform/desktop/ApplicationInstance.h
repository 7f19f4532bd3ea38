#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QVariantMap>

namespace velmora {

/// Keeps the application to one process in a session. The first process owns the application's identifier as
/// a name on the session bus and provides `org.freedesktop.Application` there (freedesktop.org, Desktop
/// Entry). A second start or a desktop's launcher calls it to bring the application to the front.
class ApplicationInstance final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    enum class Role {
        /// This process is the application, also without a session bus.
        First,
        /// Another process is the application. It has been called to the front.
        Second,
    };

    ApplicationInstance();
    ~ApplicationInstance() override;

    /// Takes the name or calls its owner. `activationToken` is this process's permission to take the focus.
    Role claim(const QString &activationToken);

    /// True if a process of this session is the application.
    static bool isRunning();
    /// The permission to take the focus that this process was started with. Call this before the application
    /// object exists, which removes it from the environment.
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
    static bool passOn(const QString &activationToken);

    QDBusConnection bus;
};

} // namespace velmora
