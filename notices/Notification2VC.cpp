#include "notices/Notification2VC.h"

#include "notices/NoticeCard.h"
#include "servers/HomeScreen.h"

#include "ui_Notification2VC.h"

namespace velmora {

std::unique_ptr<QWidget> Notification2VC::makeView()
{
    auto root = std::make_unique<NoticeCard>();
    Ui::Notification2VC layout;
    layout.setupUi(root.get());
    connectAction(layout.closeButton, &QPushButton::clicked, &NoticeScreen::closeButtonClicked);
    connectAction(layout.updateButton, &QPushButton::clicked, &Notification2VC::updateButtonClicked);
    closeOnEscape(root.get());
    return root;
}

void Notification2VC::updateButtonClicked()
{
    closeButtonClicked();
    if (const std::shared_ptr<HomeScreen> home = HomeScreen::current())
        home->showInstallModal();
}

} // namespace velmora
