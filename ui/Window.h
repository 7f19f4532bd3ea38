#pragma once

#include <QWidget>

#include <memory>

namespace velmora {

class Screen;

/// Bits of a window's style mask.
enum WindowStyleMask : unsigned {
    WindowStyleMaskTitled = 1,
    WindowStyleMaskClosable = 2,
    WindowStyleMaskMiniaturizable = 4,
    WindowStyleMaskResizable = 8,
};

/// A window of the application. Its content is one screen, which it shares with whoever else holds it. A
/// window that is closed lets its content go and deletes itself.
class Window final : public QWidget
{
    Q_OBJECT

public:
    /// A new, hidden window with this content.
    static Window *windowWithContentViewController(const std::shared_ptr<Screen> &screen);

    ~Window() override;

    /// Replaces the content. In a visible window the new screen appears at once.
    void setContentViewController(const std::shared_ptr<Screen> &screen);
    std::shared_ptr<Screen> contentViewController() const { return content; }

    unsigned styleMask() const { return mask; }
    void setStyleMask(unsigned styleMask);

    void makeKeyAndOrderFront();

protected:
    void showEvent(QShowEvent *event) override;

private:
    Window();

    /// Makes the size bounds follow the style mask and what the content needs.
    void applySizeBounds();

    std::shared_ptr<Screen> content;
    unsigned mask = WindowStyleMaskTitled | WindowStyleMaskClosable | WindowStyleMaskMiniaturizable |
                    WindowStyleMaskResizable;
};

} // namespace velmora
