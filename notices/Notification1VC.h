#pragma once

#include "notices/NoticeScreen.h"

namespace velmora {

/// The first notice: that updates come with the system.
class Notification1VC final : public NoticeScreen
{
    Q_OBJECT

public:
    void updateButtonClicked();

protected:
    std::unique_ptr<QWidget> makeView() override;
};

} // namespace velmora
