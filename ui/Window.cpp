#include "ui/Window.h"

#include "ui/Screen.h"

#include <QGuiApplication>
#include <QScreen>
#include <QShowEvent>
#include <QVBoxLayout>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

constexpr QSize ordinarySize(400, 680);

} // namespace

Window::Window()
{
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(u"Velmora"_s);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    // The bounds are set here: a layout's own constraint would undo them.
    layout->setSizeConstraint(QLayout::SetNoConstraint);
}

Window::~Window()
{
    // The view belongs to the screen, which may outlive the window.
    if (content && content->isViewLoaded())
        content->loadedView()->setParent(nullptr);
}

Window *Window::windowWithContentViewController(const std::shared_ptr<Screen> &screen)
{
    auto *window = new Window;
    window->setContentViewController(screen);
    return window;
}

void Window::setContentViewController(const std::shared_ptr<Screen> &screen)
{
    const std::shared_ptr<Screen> previous = std::exchange(content, screen);
    QWidget *const view = screen->loadedView();
    if (previous && previous != screen && previous->isViewLoaded()) {
        layout()->removeWidget(previous->loadedView());
        previous->loadedView()->hide();
        previous->loadedView()->setParent(nullptr);
    }
    layout()->addWidget(view);
    applySizeBounds();
    if (isVisible()) {
        view->show();
        screen->viewDidAppear();
    }
}

void Window::setStyleMask(unsigned styleMask)
{
    mask = styleMask;
    applySizeBounds();
}

void Window::applySizeBounds()
{
    if (!content || !content->isViewLoaded())
        return;
    const QSize available = screen()->availableSize();
    const QSize needed = content->loadedView()->minimumSizeHint().boundedTo(available);
    const QSize wanted =
        (testAttribute(Qt::WA_Resized) ? size() : ordinarySize).expandedTo(needed).boundedTo(available);
    if ((mask & WindowStyleMaskResizable) != 0) {
        setMinimumSize(needed);
        setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
        resize(wanted);
    } else {
        setFixedSize(wanted);
    }
}

void Window::makeKeyAndOrderFront()
{
    show();
    raise();
    activateWindow();
}

void Window::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    // A spontaneous one tells that the window system maps the window again, as after a restore.
    if (event->spontaneous() || !content)
        return;
    const std::shared_ptr<Screen> alive = content;
    alive->viewDidAppear();
}

} // namespace velmora
