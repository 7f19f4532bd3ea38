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
    /// Empties the user defaults and shows the login screen. Keeps the credential store, the tunnel and its
    /// profile, so that the login screen continues to the home screen.
    void logoutButtonClicked();

protected:
    std::unique_ptr<QWidget> makeView() override;
};

} // namespace velmora
