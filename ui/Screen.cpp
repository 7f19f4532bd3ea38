#include "ui/Screen.h"

#include "ui/Storyboard.h"
#include "ui/Window.h"

#include <QAbstractButton>
#include <QVariant>
#include <QWindow>

namespace velmora {

namespace {

constexpr QSize ordinarySize(400, 680);

} // namespace

Screen::Screen() = default;

Screen::~Screen() = default;

void Screen::ViewRelease::operator()(QWidget *widget) const
{
    // The view may be the receiver of the event that is being handled.
    widget->hide();
    widget->setParent(nullptr);
    widget->deleteLater();
}

void Screen::release(Screen *screen)
{
    screen->willBeReleased();
    screen->view.reset();
    screen->deleteLater();
}

QWidget *Screen::loadedView()
{
    if (!view) {
        view.reset(makeView().release());
        connectSegues();
        viewDidLoad();
    }
    return view.get();
}

Window *Screen::window() const
{
    return view ? qobject_cast<Window *>(view->window()) : nullptr;
}

void Screen::viewDidLoad() {}

void Screen::viewDidAppear() {}

void Screen::willBeReleased() {}

QSize Screen::preferredContentSize()
{
    return ordinarySize;
}

void Screen::replaceBy(const QString &identifier, const QString &className)
{
    const std::shared_ptr<Storyboard> board = storyboard();
    if (!board)
        return;
    const std::shared_ptr<Screen> screen = board->instantiate(identifier, className);
    if (!screen)
        return;
    if (Window *const target = window())
        target->setContentViewController(screen);
}

void Screen::presentAsModalWindow(const QString &identifier, const QString &className)
{
    const std::shared_ptr<Storyboard> board = storyboard();
    const std::shared_ptr<Screen> screen = board ? board->instantiate(identifier, className) : nullptr;
    if (!screen)
        return;
    Window *const modal = Window::windowWithContentViewController(screen);
    modal->setWindowModality(Qt::ApplicationModal);
    if (const Window *const presenter = window()) {
        modal->createWindow();
        modal->windowHandle()->setTransientParent(presenter->windowHandle());
    }
    modal->makeKeyAndOrderFront();
}

void Screen::connectSegues()
{
    const QList<QAbstractButton *> buttons = view->findChildren<QAbstractButton *>();
    for (QAbstractButton *const button : buttons) {
        const QString identifier = button->property("segue").toString();
        if (!identifier.isEmpty())
            connect(button, &QAbstractButton::clicked, this,
                    [this, button, identifier] { performSegue(button, identifier); });
    }
}

void Screen::performSegue(QAbstractButton *button, const QString &identifier)
{
    Window *target = segueWindows.value(button);
    if (target == nullptr || !Window::windows().contains(target)) {
        const std::shared_ptr<Storyboard> board = storyboard();
        const std::shared_ptr<Screen> screen = board ? board->instantiate(identifier) : nullptr;
        if (!screen)
            return;
        target = Window::windowWithContentViewController(screen);
        segueWindows.insert(button, target);
    }
    target->makeKeyAndOrderFront();
}

} // namespace velmora
