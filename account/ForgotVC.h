#pragma once

#include "ui/Outlet.h"
#include "ui/Screen.h"

class QLineEdit;

namespace velmora {

/// The password reset screen.
class ForgotVC final : public Screen
{
    Q_OBJECT

public:
    void viewDidAppear() override;

    void resetAction();
    void backToLoginButtonClicked();

protected:
    std::unique_ptr<QWidget> makeView() override;

private:
    /// Says the same for every answer of the service, so that nobody learns which accounts exist.
    void resetReplied();

    /// The user name; the only field of the screen.
    Outlet<QLineEdit> dummyTextField;
};

} // namespace velmora
