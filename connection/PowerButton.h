#pragma once

#include "ui/Buttons.h"

namespace velmora {

/// The large round button that connects and disconnects.
class PowerButton final : public IconButton
{
    Q_OBJECT

public:
    using IconButton::IconButton;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent *event) override;
    bool hitButton(const QPoint &position) const override;
};

} // namespace velmora
