#include "notices/Notification3VC.h"

#include "notices/NoticeCard.h"
#include "servers/RecentTV.h"
#include "ui/CurrentWindow.h"
#include "ui/Storyboard.h"
#include "ui/Window.h"

#include "ui_Notification3VC.h"

#include <unistd.h>

namespace velmora {

using namespace Qt::StringLiterals;

std::unique_ptr<QWidget> Notification3VC::makeView()
{
    auto root = std::make_unique<NoticeCard>();
    Ui::Notification3VC layout;
    layout.setupUi(root.get());
    recentTableView.connect(layout.recentTableView);
    connectAction(layout.closeButton, &QPushButton::clicked, &NoticeScreen::closeButtonClicked);
    connectAction(layout.exitButton, &QPushButton::clicked, &Notification3VC::exitButtonClicked);
    connectAction(layout.openButton, &QPushButton::clicked, &Notification3VC::openButtonClicked);
    closeOnEscape(root.get());
    return root;
}

void Notification3VC::viewDidLoad()
{
    NoticeScreen::viewDidLoad();
    // Before the window is sized: the list asks for the room of its rows. It has no header row to take off.
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

} // namespace velmora
