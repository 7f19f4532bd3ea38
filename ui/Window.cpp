#include "ui/Window.h"

#include "platform/desktop/WindowSystem.h"
#include "ui/Announcement.h"
#include "ui/Frames.h"
#include "ui/Screen.h"
#include "ui/Style.h"

#include <QApplication>
#include <QCloseEvent>
#include <QMenuBar>
#include <QScreen>
#include <QScrollArea>
#include <QShowEvent>
#include <QVBoxLayout>
#include <QWindow>

#include <algorithm>
#include <utility>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

/// The height that a title bar is taken to have until the window manager has said it.
constexpr int ordinaryTitleBar = 40;
/// A window that cannot show its whole content can be made as small as this.
constexpr QSize scrollableSize(240, 240);

/// Process-wide, because the application itself is: its windows, and how each gets a menu bar.
struct Application
{
    QList<Window *> windows;
    QPointer<Window> key;
    QPointer<Window> mainWindow;
    QPointer<Window> current;
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

/// Holds the view of a screen. It scrolls where the window is smaller than the view can be, and shows the
/// control that has the keyboard.
class ContentArea final : public QScrollArea
{
public:
    explicit ContentArea(QWidget *parent) : QScrollArea(parent)
    {
        setFrameShape(QFrame::NoFrame);
        setFocusPolicy(Qt::NoFocus);
        connect(qApp, &QApplication::focusChanged, this, [this](QWidget *, QWidget *now) {
            if (widget() != nullptr && widget()->isAncestorOf(now))
                ensureWidgetVisible(now, Style::spaceS, Style::spaceS);
        });
    }

    QSize wholeSize(int width) const
    {
        const QSize least = widget()->minimumSizeHint().expandedTo({0, 0});
        const QLayout *const layout = widget()->layout();
        if (layout == nullptr || !layout->hasHeightForWidth())
            return least;
        const int height = layout->totalMinimumHeightForWidth(std::max(width, least.width()));
        return {least.width(), std::max(height, least.height())};
    }

protected:
    void resizeEvent(QResizeEvent *event) override
    {
        QScrollArea::resizeEvent(event);
        fit();
    }

    bool viewportEvent(QEvent *event) override
    {
        if (event->type() == QEvent::LayoutRequest) {
            fit();
            updateGeometry();
        }
        return QScrollArea::viewportEvent(event);
    }

private:
    void fit()
    {
        if (widget() != nullptr)
            widget()->resize(viewport()->size().expandedTo(wholeSize(viewport()->width())));
    }
};

Window::Window() : area(new ContentArea(this))
{
    installAccessibility();
    setAttribute(Qt::WA_DeleteOnClose);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->setSpacing(0);
    // A constraint of the layout would undo the bounds that are set here.
    layout->setSizeConstraint(QLayout::SetNoConstraint);
    layout->addWidget(area);
    app().windows.append(this);
}

Window::~Window()
{
    app().windows.removeOne(this);
    // The view belongs to the screen, which may outlive the window.
    if (area->widget() != nullptr)
        area->takeWidget();
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
    if (area->widget() != nullptr)
        area->takeWidget()->hide();
    area->setWidget(view);
    view->show();
    setWindowTitle(view->windowTitle().isEmpty() ? u"Velmora"_s : view->windowTitle());
    applySizeBounds();
    if (isVisible()) {
        announce(this, view->windowTitle());
        contentAppeared(std::shared_ptr(screen));
    }
}

void Window::contentAppeared(const std::shared_ptr<Screen> &screen)
{
    screen->viewDidAppear();
    QWidget *const view = screen->loadedView();
    if (content == screen && (focusWidget() == nullptr || !view->isAncestorOf(focusWidget())))
        focusFirstControl(view);
}

void Window::setStyleMask(unsigned styleMask)
{
    mask = styleMask;
    Qt::WindowFlags flags = windowFlags();
    flags.setFlag(Qt::FramelessWindowHint, !isTitled(this));
    if (flags != windowFlags()) {
        // QWidget::setWindowFlags() would hide a window that is shown.
        const QPoint origin = pos();
        overrideWindowFlags(flags);
        if (windowHandle() != nullptr) {
            windowHandle()->setFlags(flags);
            // A window without its frame moves to where the frame began.
            if (!isTitled(this))
                setGeometry(QRect(origin, size()));
        }
    }
    applyMenuBar();
    applySizeBounds();
}

void Window::applyMenuBar()
{
    // The bar comes with the first showing, because a window may take its title off as it appears.
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

QSize Window::wholeSize(int width) const
{
    const QSize bar(0, menuBar != nullptr ? menuBar->heightForWidth(width) : 0);
    return area->wholeSize(width) + bar;
}

QSize Window::availableSize() const
{
    QSize frame = frameGeometry().size() - size();
    if (isTitled(this) && frame.isNull())
        frame.setHeight(ordinaryTitleBar);
    return screen()->availableSize() - frame;
}

void Window::applySizeBounds()
{
    if (!content)
        return;
    const QSize available = availableSize();
    const QSize start = testAttribute(Qt::WA_Resized) ? size() : content->preferredContentSize();
    const QSize whole = wholeSize(start.width());
    const QSize ordinary = content->preferredContentSize().expandedTo(whole);
    const bool fits = ordinary.boundedTo(available) == ordinary;
    if (fits && (mask & WindowStyleMaskResizable) == 0) {
        setFixedSize(start.expandedTo(whole).boundedTo(available));
        return;
    }
    setMinimumSize(whole.boundedTo(available) == whole ? whole : whole.boundedTo(scrollableSize));
    setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
    const QSize bounded = testAttribute(Qt::WA_Resized) ? start : start.boundedTo(available);
    resize(bounded.expandedTo(whole.boundedTo(available)));
}

void Window::fitScreen()
{
    applySizeBounds();
    if (!isMaximized() && !isFullScreen())
        resize(size().boundedTo(availableSize()));
}

void Window::deminiaturize()
{
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
}

void Window::becomeKey()
{
    app().key = this;
    if (isTitled(this))
        app().mainWindow = this;
}

void Window::makeKeyAndOrderFront()
{
    becomeKey();
    show();
    raise();
    activateWindow();
}

void Window::activateIgnoringOtherApps(const QString &token)
{
    // A modal window comes last, on top of those that it blocks.
    if (QWidget *const modal = QApplication::activeModalWidget(); modal != nullptr && modal != app().key) {
        modal->raise();
        windowsystem::activate(*modal->windowHandle(), token);
        return;
    }
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
    // A content that needs more room gets it, for example when a notice appears in it.
    if (event->type() == QEvent::LayoutRequest && content && wholeSize(width()).expandedTo(size()) != size())
        applySizeBounds();
    return handled;
}

void Window::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    // A spontaneous event says that the window system maps the window again, for example after a restore.
    if (event->spontaneous() || !content)
        return;
    applyCollectionBehavior();
    connect(windowHandle(), &QWindow::screenChanged, this, &Window::fitScreen, Qt::UniqueConnection);
    fitScreen();
    contentAppeared(std::shared_ptr(content));
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
    if (event->type() == QEvent::ActivationChange && isActiveWindow())
        becomeKey();
}

Window *currentWindow()
{
    return app().current;
}

void setCurrentWindow(Window *window)
{
    app().current = window;
}

} // namespace velmora
