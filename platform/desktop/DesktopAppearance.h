#pragma once

#include <functional>
#include <memory>

namespace velmora {

/// Whether the desktop asks its applications for a dark look, as the settings portal tells it
/// (org.freedesktop.appearance, color-scheme). A desktop without that portal asks for none.
class DesktopAppearance
{
public:
    using Handler = std::function<void(bool prefersDark)>;

    /// Asks the portal and calls `handler` with each answer: before it returns when the portal answers at
    /// once, otherwise from the event loop, and again whenever the user chooses another one.
    explicit DesktopAppearance(Handler handler);
    ~DesktopAppearance();
    DesktopAppearance(const DesktopAppearance &) = delete;
    DesktopAppearance &operator=(const DesktopAppearance &) = delete;

private:
    struct Portal;

    std::unique_ptr<Portal> portal;
};

} // namespace velmora
