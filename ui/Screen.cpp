#include "ui/Screen.h"

#include "ui/Storyboard.h"
#include "ui/Window.h"

#include <QAbstractButton>
#include <QVariant>
#include <QWindow>

#include <utility>

namespace velmora {

void Screen::release(Screen *screen)
{
    screen->willBeReleased();
    if (QWidget *const view = std::exchange(screen->view, nullptr)) {
        // The view may be the receiver of the event that is being handled.
        view->hide();
        view->setParent(nullptr);
        view->deleteLater();
    }
    screen->deleteLater();
}

QWidget *Screen::loadedView()
{
    if (view == nullptr) {
        view = makeView().release();
        connectSegues();
        viewDidLoad();
    }
    return view;
}

Window *Screen::window() const
{
    return view != nullptr ? qobject_cast<Window *>(view->window()) : nullptr;
}

std::shared_ptr<Screen> Screen::instantiate(const ScreenIdentifier &identifier) const
{
    const std::shared_ptr<Storyboard> board = storyboard();
    return board ? board->instantiate(identifier) : nullptr;
}

void Screen::replaceBy(const ScreenIdentifier &identifier)
{
    const std::shared_ptr<Screen> screen = instantiate(identifier);
    Window *const target = window();
    if (screen && target != nullptr)
        target->setContentViewController(screen);
}

void Screen::presentAsModalWindow(const ScreenIdentifier &identifier)
{
    if (const std::shared_ptr<Screen> screen = instantiate(identifier))
        present(screen, Qt::ApplicationModal);
}

Window *Screen::present(const std::shared_ptr<Screen> &screen, Qt::WindowModality modality)
{
    Window *const opened = Window::windowWithContentViewController(screen);
    opened->setWindowModality(modality);
    if (const Window *const presenter = window()) {
        // Only for dialogs does Qt tell the window manager which window they belong to.
        opened->setWindowFlag(Qt::Dialog);
        opened->winId();
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

void Storyboard::add(const ScreenIdentifier &identifier, Factory factory)
{
    entries.insert(identifier.name.toString(), {identifier.className.toString(), std::move(factory)});
}

std::shared_ptr<Screen> Storyboard::instantiate(const ScreenIdentifier &identifier)
{
    const QString name = identifier.name.toString();
    return entries.value(name).className == identifier.className ? instantiateNamed(name) : nullptr;
}

std::shared_ptr<Screen> Storyboard::instantiateNamed(const QString &name)
{
    const auto entry = entries.constFind(name);
    if (entry == entries.constEnd())
        return nullptr;
    std::shared_ptr<Screen> screen = entry->factory();
    screen->storyboardReference = weak_from_this();
    return screen;
}

} // namespace velmora
