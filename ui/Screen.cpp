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

void Screen::replaceBy(const ScreenIdentifier &identifier)
{
    const std::shared_ptr<Storyboard> board = storyboard();
    const std::shared_ptr<Screen> screen = board ? board->instantiate(identifier) : nullptr;
    Window *const target = window();
    if (screen && target != nullptr)
        target->setContentViewController(screen);
}

void Screen::presentAsModalWindow(const ScreenIdentifier &identifier)
{
    const std::shared_ptr<Storyboard> board = storyboard();
    if (const std::shared_ptr<Screen> screen = board ? board->instantiate(identifier) : nullptr)
        present(screen, Qt::ApplicationModal);
}

Window *Screen::present(const std::shared_ptr<Screen> &screen, Qt::WindowModality modality)
{
    Window *const opened = Window::windowWithContentViewController(screen);
    opened->setWindowModality(modality);
    if (const Window *const presenter = window()) {
        // Only for dialogs does Qt tell the window manager which window they belong to.
        opened->setWindowFlag(Qt::Dialog);
        opened->createWindow();
        opened->windowHandle()->setTransientParent(presenter->windowHandle());
    }
    opened->makeKeyAndOrderFront();
    return opened;
}

void Screen::connectSegues()
{
    const QList<QAbstractButton *> buttons = view->findChildren<QAbstractButton *>();
    for (QAbstractButton *const button : buttons) {
        const QString name = button->property("segue").toString();
        if (!name.isEmpty())
            connect(button, &QAbstractButton::clicked, this,
                    [this, button, name] { performSegue(button, name); });
    }
}

void Screen::performSegue(QAbstractButton *button, const QString &name)
{
    Window *const open = segueWindows.value(button);
    if (open != nullptr && Window::windows().contains(open)) {
        open->makeKeyAndOrderFront();
        return;
    }
    const std::shared_ptr<Storyboard> board = storyboard();
    if (const std::shared_ptr<Screen> screen = board ? board->instantiateNamed(name) : nullptr)
        segueWindows.insert(button, present(screen, Qt::NonModal));
}

} // namespace velmora
