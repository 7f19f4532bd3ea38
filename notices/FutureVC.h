#pragma once

#include "ui/Screen.h"

namespace velmora {

/// An empty screen that keeps the place of one to come.
class FutureVC final : public Screen
{
    Q_OBJECT

protected:
    std::unique_ptr<QWidget> makeView() override;
};

} // namespace velmora
