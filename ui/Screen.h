#pragma once

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QWidget>

#include <memory>

class QAbstractButton;

namespace velmora {

struct ScreenIdentifier;
class Storyboard;
class Window;

/// Controller of one screen: it owns the view that its layout makes and reacts to its controls.
///
/// Screens are shared: by the window that shows them and by whatever must keep them until it has called them
/// back. The object itself goes at the next turn of the event loop after the last holder let go, so that a
/// screen may replace itself from within its own action.
class Screen : public QObject, public std::enable_shared_from_this<Screen>
{
    Q_OBJECT

public:
    template<class T>
    static std::shared_ptr<T> make()
    {
        return std::shared_ptr<T>(new T, release);
    }

    /// The view, made and loaded at its first use.
    QWidget *loadedView();

    /// The window whose content this screen is; null when it is in none.
    Window *window() const;
    /// Where this screen came from; null when it was made without one.
    std::shared_ptr<Storyboard> storyboard() const { return storyboardReference.lock(); }

    /// Called once, when the view is there and its outlets are connected.
    virtual void viewDidLoad() {}
    /// Called each time the screen has come into a visible window, or its window has become visible.
    virtual void viewDidAppear() {}

    /// The size of a window that is made for this screen, in logical pixels.
    virtual QSize preferredContentSize() { return {400, 680}; }

    /// Makes a screen of the storyboard the content of the window in place of this screen. Does nothing
    /// without a storyboard, without a screen of this name and class in it, or without a window.
    void replaceBy(const ScreenIdentifier &identifier);
    /// Shows a screen of the storyboard in a window of its own, which blocks all other windows of the
    /// application. Does nothing without a storyboard or without a screen of this name and class in it.
    void presentAsModalWindow(const ScreenIdentifier &identifier);

protected:
    Screen() = default;

    /// Makes the view from the layout and connects its outlets and actions.
    virtual std::unique_ptr<QWidget> makeView() = 0;
    /// The last holder has let go: nothing may reach the screen any more.
    virtual void willBeReleased() {}

    /// Connects a control's signal to an action of this screen, which stays alive while the action runs.
    template<class Sender, class Signal, class Receiver>
    void connectAction(Sender *sender, Signal signal, void (Receiver::*action)())
    {
        auto *receiver = static_cast<Receiver *>(this);
        connect(sender, signal, receiver, [receiver, action] {
            const std::shared_ptr<Screen> alive = receiver->shared_from_this();
            (receiver->*action)();
        });
    }

private:
    friend class Storyboard;

    /// A button whose layout gives it a property `segue`, the name of a screen, shows that screen in a window
    /// of its own or, while that window is open, brings it to the front.
    void connectSegues();
    void performSegue(QAbstractButton *button, const QString &name);
    /// Opens a window for the screen that stays above this screen's window.
    Window *present(const std::shared_ptr<Screen> &screen, Qt::WindowModality modality);

    /// A new screen of the storyboard; null without a storyboard or without such a screen in it.
    std::shared_ptr<Screen> instantiate(const ScreenIdentifier &identifier) const;
    /// Takes the view out of the window's hierarchy before it goes, and lets its pending events go with it.
    static void release(Screen *screen);

    /// Owned until the release.
    QWidget *view = nullptr;
    std::weak_ptr<Storyboard> storyboardReference;
    QHash<QAbstractButton *, QPointer<Window>> segueWindows;
};

} // namespace velmora
