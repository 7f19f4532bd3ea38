#pragma once

#include <QPushButton>

namespace velmora {

/// A push button that Return presses as Space does. Qt's own has that in dialogs; elsewhere what makes it so
/// also moves the look of the primary button to whichever has the focus.
class PushButton final : public QPushButton
{
    Q_OBJECT

public:
    using QPushButton::QPushButton;

protected:
    void keyPressEvent(QKeyEvent *event) override;
};

} // namespace velmora
