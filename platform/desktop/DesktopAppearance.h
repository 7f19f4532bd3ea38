#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QVariant>

#include <functional>

namespace velmora {

/// The preferences of the desktop that concern the look of its applications.
struct Appearance
{
    bool isDark = false;
    bool hasHighContrast = false;
    /// Factor on the size of the system's font.
    double textScale = 1;

    bool operator==(const Appearance &) const = default;
};

/// Follows the desktop's appearance by the settings portal (`org.freedesktop.appearance`, and GNOME's
/// `text-scaling-factor`). A desktop without that portal keeps the defaults.
class DesktopAppearance final : public QObject
{
    Q_OBJECT

public:
    using Handler = std::function<void(const Appearance &)>;

    /// Asks the portal, and runs the event loop until it answers, for a short time. Calls `handler` with each
    /// change, from the event loop.
    explicit DesktopAppearance(Handler handler);

private Q_SLOTS:
    void settingChanged(const QDBusMessage &signal);

private:
    void take(const QString &key, QVariant value);

    QDBusConnection bus;
    const Handler handler;
    Appearance current;
};

} // namespace velmora
