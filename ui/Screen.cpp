#include "ui/Screen.h"

#include "ui/Storyboard.h"
#include "ui/Window.h"

namespace velmora {

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

} // namespace velmora
