#pragma once

#include "notices/NoticeScreen.h"

namespace velmora {

/// The second notice: it leads to the home screen's way to install an update.
class Notification2VC final : public NoticeScreen
{
    Q_OBJECT

public:
    void updateButtonClicked();

protected:
    std::unique_ptr<QWidget> makeView() override;
};

} // namespace velmora
