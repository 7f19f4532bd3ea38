#pragma once

#include "ui/Screen.h"

namespace velmora {

/// The settings screen.
class SettingsVC final : public Screen
{
    Q_OBJECT

public:
    void viewDidAppear() override;

    void homeButtonClicked();
    void changePasswordButtonClicked();
    /// Empties the user defaults and leads to the login screen. The credential store, the tunnel and its
    /// profile stay as they are, so that the login screen leads on to the home screen.
    void logoutButtonClicked();

protected:
    std::unique_ptr<QWidget> makeView() override;
};

} // namespace velmora
