#pragma once

#include "ui/Buttons.h"
#include "ui/Labels.h"

namespace velmora {

/// The part of the home screen that shows at a glance that the traffic is protected. It then fills with the
/// protected tone, and its contents take the colours for that ground.
class StatusCard final : public Card
{
    Q_OBJECT

public:
    using Card::Card;

    void setProtected(bool isProtected);

Q_SIGNALS:
    void protectedChanged(bool isProtected);
    void exposedChanged(bool isExposed);

protected:
    void paintEvent(QPaintEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void applyColors();

    bool fillsWithTone = false;
};

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
