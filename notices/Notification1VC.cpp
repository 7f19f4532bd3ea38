#include "notices/Notification1VC.h"

#include "notices/NoticeCard.h"

#include "ui_Notification1VC.h"

namespace velmora {

std::unique_ptr<QWidget> Notification1VC::makeView()
{
    auto root = std::make_unique<NoticeCard>();
    Ui::Notification1VC layout;
    layout.setupUi(root.get());
    connectAction(layout.closeButton, &QPushButton::clicked, &NoticeScreen::closeButtonClicked);
    connectAction(layout.updateButton, &QPushButton::clicked, &Notification1VC::updateButtonClicked);
    closeOnEscape(root.get());
    return root;
}

// Deliberately empty: the notice stays.
void Notification1VC::updateButtonClicked() {}

} // namespace velmora
