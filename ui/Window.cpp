#include "ui/Window.h"

#include "platform/desktop/WindowSystem.h"
#include "ui/Accessibility.h"
#include "ui/Announcement.h"
#include "ui/Screen.h"

#include <QCloseEvent>
#include <QMenuBar>
#include <QScreen>
#include <QShowEvent>
#include <QVBoxLayout>
#include <QWindow>

#include <algorithm>
#include <utility>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

/// Process-wide, because the application itself is: its windows, and how each gets a menu bar.
struct Application
{
    QList<Window *> windows;
    QPointer<Window> key;
    QPointer<Window> mainWindow;
    Window::MenuBarMaker makeMenuBar;
};

Application &app()
{
    static Application instance;
    return instance;
}

bool isTitled(const Window *window)
{
    return (window->styleMask() & WindowStyleMaskTitled) != 0;
}

} // namespace

Window::Window()
{
    installAccessibility();
    setAttribute(Qt::WA_DeleteOnClose);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->setSpacing(0);
    // The bounds are set here: a layout's own constraint would undo them.
    layout->setSizeConstraint(QLayout::SetNoConstraint);
    app().windows.append(this);
}

Window::~Window()
{
    app().windows.removeOne(this);
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

QList<Window *> Window::windows()
{
    return app().windows;
}

Window *Window::mainWindow()
{
    Window *const last = app().mainWindow;
    if (last != nullptr && app().windows.contains(last) && isTitled(last))
        return last;
    const auto first = std::find_if(app().windows.cbegin(), app().windows.cend(), isTitled);
    return first != app().windows.cend() ? *first : nullptr;
}

void Window::setMenuBarMaker(MenuBarMaker maker)
{
    app().makeMenuBar = std::move(maker);
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
    setWindowTitle(view->windowTitle().isEmpty() ? u"Velmora"_s : view->windowTitle());
    applySizeBounds();
    if (isVisible()) {
        view->show();
        announce(this, view->windowTitle());
        screen->viewDidAppear();
    }
}

void Window::setStyleMask(unsigned styleMask)
{
    mask = styleMask;
    applyStyleMask();
    applyMenuBar();
    applySizeBounds();
}

void Window::applyStyleMask()
{
    Qt::WindowFlags flags = windowFlags();
    flags.setFlag(Qt::FramelessWindowHint, !isTitled(this));
    if (flags == windowFlags())
        return;
    // Not by the widget's own way, which hides a window that is shown.
    const QPoint origin = pos();
    overrideWindowFlags(flags);
    if (windowHandle() != nullptr) {
        windowHandle()->setFlags(flags);
        // What loses its frame goes to where the frame began.
        if (!isTitled(this))
            setGeometry(QRect(origin, size()));
    }
}

void Window::applyMenuBar()
{
    // It comes with the first showing: what takes its title off as it appears never has one.
    const bool wanted = isTitled(this) && isVisible() && app().makeMenuBar;
    if (wanted && menuBar == nullptr) {
        menuBar = app().makeMenuBar(this);
        layout()->setMenuBar(menuBar);
        applySizeBounds();
    } else if (menuBar != nullptr && !isTitled(this)) {
        delete menuBar;
    }
}

void Window::setCollectionBehavior(unsigned collectionBehavior)
{
    behavior = collectionBehavior;
    applyCollectionBehavior();
}

void Window::applyCollectionBehavior()
{
    if ((behavior & WindowCollectionBehaviorCanJoinAllSpaces) != 0 && windowHandle() != nullptr)
        windowsystem::joinAllSpaces(*windowHandle());
}

QSize Window::leastSize() const
{
    const QSize bar(0, menuBar != nullptr ? menuBar->heightForWidth(width()) : 0);
    const QSize least = content->loadedView()->minimumSizeHint().expandedTo({0, 0});
    return (least + bar).boundedTo(screen()->availableSize());
}

void Window::applySizeBounds()
{
    if (!content || !content->isViewLoaded())
        return;
    const QSize available = screen()->availableSize();
    const QSize needed = leastSize();
    const QSize wanted = (testAttribute(Qt::WA_Resized) ? size() : content->preferredContentSize())
                             .expandedTo(needed)
                             .boundedTo(available);
    if ((mask & WindowStyleMaskResizable) != 0) {
        setMinimumSize(needed);
        setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
        resize(wanted);
    } else {
        setFixedSize(wanted);
    }
}

void Window::deminiaturize()
{
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
}

void Window::makeKeyAndOrderFront()
{
    app().key = this;
    if (isTitled(this))
        app().mainWindow = this;
    show();
    raise();
    activateWindow();
}

void Window::activateIgnoringOtherApps(const QString &token)
{
    Window *const key = app().key;
    if (key == nullptr || key->windowHandle() == nullptr)
        return;
    if (key->windowHandle()->isExposed())
        windowsystem::activate(*key->windowHandle(), token);
    else
        key->activation = token;
}

bool Window::event(QEvent *event)
{
    const bool handled = QWidget::event(event);
    // A window that is painted is on screen; before that a window manager does not know it.
    if (event->type() == QEvent::Paint && activation)
        windowsystem::activate(*windowHandle(), *std::exchange(activation, std::nullopt));
    // A content that needs more room gets it, as when a notice comes into it.
    if (event->type() == QEvent::LayoutRequest && content) {
        const QSize least = leastSize();
        const bool isFixed = minimumSize() == maximumSize();
        if (isFixed ? least.expandedTo(size()) != size() : least != minimumSize())
            applySizeBounds();
    }
    return handled;
}

void Window::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    // A spontaneous one tells that the window system maps the window again, as after a restore.
    if (event->spontaneous() || !content)
        return;
    applyCollectionBehavior();
    const std::shared_ptr<Screen> alive = content;
    alive->viewDidAppear();
    applyMenuBar();
}

void Window::closeEvent(QCloseEvent *event)
{
    QWidget::closeEvent(event);
    if (event->isAccepted())
        app().windows.removeOne(this);
}

void Window::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    // Some window managers put the window back on one workspace when a dialog of it opens.
    if (event->type() == QEvent::ActivationChange)
        applyCollectionBehavior();
    if (event->type() == QEvent::ActivationChange && isActiveWindow()) {
        app().key = this;
        if (isTitled(this))
            app().mainWindow = this;
    }
}

} // namespace velmora
