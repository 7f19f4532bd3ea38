#include "notices/Notices.h"

#include "platform/Log.h"
#include "servers/HomeScreen.h"
#include "servers/RecentTV.h"
#include "ui/Colors.h"
#include "ui/Storyboard.h"
#include "ui/Style.h"
#include "ui/Window.h"

#include "ui_FutureVC.h"
#include "ui_Notification1VC.h"
#include "ui_Notification2VC.h"
#include "ui_Notification3VC.h"

#include <QGuiApplication>
#include <QPainter>
#include <QScreen>
#include <QShortcut>

#include <algorithm>

#include <unistd.h>

namespace velmora {

using namespace Qt::StringLiterals;

QPoint noticePosition(const QRect &screen, const QRect &visible, const QSize &window)
{
    return {screen.x() + visible.width() - window.width(), visible.y()};
}

NoticeCard::NoticeCard(QWidget *parent) : QWidget(parent)
{
    setContentsMargins(Style::spaceXl, Style::spaceXl, Style::spaceXl, Style::spaceL);
}

void NoticeCard::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), palette().color(QPalette::Base));
    painter.setPen(colors::controlOutline(palette()));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

void NoticeScreen::viewDidAppear()
{
    Screen::viewDidAppear();
    Window *const shownIn = window();
    if (const QScreen *const main = QGuiApplication::primaryScreen()) {
        if (shownIn == nullptr)
            fatalError(u"A notice has appeared without a window"_s);
        shownIn->move(noticePosition(main->geometry(), main->availableGeometry(), shownIn->size()));
    }
    if (shownIn != nullptr)
        shownIn->setStyleMask(shownIn->styleMask() & ~(WindowStyleMaskTitled | WindowStyleMaskResizable));
}

QSize NoticeScreen::preferredContentSize()
{
    constexpr int noticeWidth = 360;
    const int width = std::max(noticeWidth, loadedView()->minimumSizeHint().width());
    return {width, loadedView()->heightForWidth(width)};
}

void NoticeScreen::closeButtonClicked()
{
    if (Window *const shownIn = window())
        shownIn->close();
}

void NoticeScreen::connectClosing(QWidget *card, QAbstractButton *closeButton)
{
    connectAction(closeButton, &QAbstractButton::clicked, &NoticeScreen::closeButtonClicked);
    connectAction(new QShortcut(QKeySequence::Cancel, card), &QShortcut::activated,
                  &NoticeScreen::closeButtonClicked);
}

std::unique_ptr<QWidget> Notification1VC::makeView()
{
    Ui::Notification1VC layout;
    std::unique_ptr<QWidget> card = makeCard(layout);
    connectAction(layout.updateButton, &QPushButton::clicked, &Notification1VC::updateButtonClicked);
    return card;
}

// Deliberately empty: the notice stays.
void Notification1VC::updateButtonClicked() {}

std::unique_ptr<QWidget> Notification2VC::makeView()
{
    Ui::Notification2VC layout;
    std::unique_ptr<QWidget> card = makeCard(layout);
    connectAction(layout.updateButton, &QPushButton::clicked, &Notification2VC::updateButtonClicked);
    return card;
}

void Notification2VC::updateButtonClicked()
{
    closeButtonClicked();
    if (const std::shared_ptr<HomeScreen> home = HomeScreen::current())
        home->showInstallModal();
}

std::unique_ptr<QWidget> Notification3VC::makeView()
{
    Ui::Notification3VC layout;
    std::unique_ptr<QWidget> card = makeCard(layout);
    recentTableView.connect(layout.recentTableView);
    connectAction(layout.exitButton, &QPushButton::clicked, &Notification3VC::exitButtonClicked);
    connectAction(layout.openButton, &QPushButton::clicked, &Notification3VC::openButtonClicked);
    return card;
}

void Notification3VC::viewDidLoad()
{
    NoticeScreen::viewDidLoad();
    // Before the window is sized, because the list asks for the room of its rows. It has no header row.
    recentTableView->reloadData();
}

void Notification3VC::exitButtonClicked()
{
    _exit(0);
}

void Notification3VC::openButtonClicked()
{
    const std::shared_ptr<Storyboard> board = storyboard();
    const std::shared_ptr<Screen> screen = board ? board->instantiate(screens::login) : nullptr;
    if (!screen)
        return;
    if (Window *const login = currentWindow())
        login->close();
    Window::windowWithContentViewController(screen)->makeKeyAndOrderFront();
    closeButtonClicked();
}

std::unique_ptr<QWidget> FutureVC::makeView()
{
    auto root = std::make_unique<QWidget>();
    Ui::FutureVC().setupUi(root.get());
    return root;
}

} // namespace velmora
