#pragma once

#include "account/Keychain.h"
#include "api/Records.h"
#include "ui/Outlet.h"
#include "ui/Screen.h"

class QLineEdit;

namespace velmora {

/// The login screen.
class ViewController final : public Screen
{
    Q_OBJECT

public:
    ViewController();

    void viewDidAppear() override;

    void loginButtonClicked();
    void createAccountButtonClicked();
    void forgotPasswordButtonClicked();

protected:
    std::unique_ptr<QWidget> makeView() override;

private:
    /// Shows the home screen if a user has signed in before.
    void passOnToHome();
    void signInReplied(const std::optional<Token> &reply);
    void showHome();

    Keychain keychain;
    Outlet<QLineEdit> usernameTextfield;
    Outlet<QLineEdit> passwordTextfield;
};

} // namespace velmora
