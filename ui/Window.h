#pragma once

#include <QPointer>
#include <QWidget>

#include <functional>
#include <memory>
#include <optional>

class QMenuBar;

namespace velmora {

class ContentArea;
class Screen;

/// Bits of a window's style mask.
enum WindowStyleMask : unsigned {
    WindowStyleMaskTitled = 1,
    WindowStyleMaskClosable = 2,
    WindowStyleMaskMiniaturizable = 4,
    WindowStyleMaskResizable = 8,
};

/// Bits of a window's collection behaviour.
enum WindowCollectionBehavior : unsigned {
    WindowCollectionBehaviorDefault = 0,
    WindowCollectionBehaviorCanJoinAllSpaces = 1,
};

/// A window of the application. Its content is one screen, which it shares with whoever else holds it. A
/// window that is closed lets its content go and deletes itself.
class Window final : public QWidget
{
    Q_OBJECT

public:
    using MenuBarMaker = std::function<QMenuBar *(QWidget *window)>;

    /// A new, hidden window with this content.
    static Window *windowWithContentViewController(const std::shared_ptr<Screen> &screen);

    /// All windows that are not closed, in the order of their creation.
    static QList<Window *> windows();
    /// The titled window that was key last or, before one was, the first one; null when there is none.
    static Window *mainWindow();
    /// Sets the maker of the menu bar that each titled window gets when it is shown.
    static void setMenuBarMaker(MenuBarMaker maker);

    ~Window() override;

    /// Replaces the content. In a visible window the new screen appears at once.
    void setContentViewController(const std::shared_ptr<Screen> &screen);
    std::shared_ptr<Screen> contentViewController() const { return content; }

    unsigned styleMask() const { return mask; }
    void setStyleMask(unsigned styleMask);

    unsigned collectionBehavior() const { return behavior; }
    void setCollectionBehavior(unsigned collectionBehavior);

    bool isMiniaturized() const { return isMinimized(); }
    void miniaturize() { showMinimized(); }
    void deminiaturize();

    void makeKeyAndOrderFront();
    /// Gives the window that was made key last the focus, also when another application has it, as soon as
    /// the window system shows it. `token` is the permission that came with the user's wish, empty where none
    /// did.
    static void activateIgnoringOtherApps(const QString &token = {});

protected:
    bool event(QEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void closeEvent(QCloseEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    Window();

    void becomeKey();
    void applyCollectionBehavior();
    void applyMenuBar();
    /// The size that shows the whole content and the menu bar at this width.
    QSize wholeSize(int width) const;
    /// The room on the screen for the inside of the window.
    QSize availableSize() const;
    /// Makes the size bounds follow the style mask and the content. Where the screen has no room for the
    /// whole content, the window can be resized even if the mask forbids it.
    void applySizeBounds();
    void fitScreen();
    /// Tells the screen that it has appeared. If it is still the content then, the keyboard goes into it. The
    /// caller passes a copy, because the screen may replace itself.
    void contentAppeared(const std::shared_ptr<Screen> &screen);

    std::shared_ptr<Screen> content;
    ContentArea *area;
    QPointer<QMenuBar> menuBar;
    unsigned mask = WindowStyleMaskTitled | WindowStyleMaskClosable | WindowStyleMaskMiniaturizable |
                    WindowStyleMaskResizable;
    unsigned behavior = WindowCollectionBehaviorDefault;
    /// The token of an activation that waits for the window to be on screen.
    std::optional<QString> activation;
};

/// The window in which the login screen was shown last; null when there was none or it is gone. Process-wide,
/// because screens of other windows close it when they open the window that takes its place.
Window *currentWindow();
void setCurrentWindow(Window *window);

} // namespace velmora
