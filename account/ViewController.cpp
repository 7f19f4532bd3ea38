#include "account/ViewController.h"

#include "api/NetworkManager.h"
#include "platform/keyring/SecretStore.h"
#include "servers/Countries.h"
#include "ui/Alert.h"
#include "ui/Storyboard.h"
#include "ui/WebSite.h"
#include "ui/Window.h"

#include "ui_ViewController.h"

namespace velmora {

using namespace Qt::StringLiterals;

ViewController::ViewController() : keychain(Keychain::forApplication()) {}

std::unique_ptr<QWidget> ViewController::makeView()
{
    auto root = std::make_unique<FormPage>();
    Ui::ViewController layout;
    layout.setupUi(root.get());
    usernameTextfield.connect(layout.usernameTextfield);
    passwordTextfield.connect(layout.passwordTextfield);
    connectAction(layout.loginButton, &QPushButton::clicked, &ViewController::loginButtonClicked);
    connectAction(layout.usernameTextfield, &QLineEdit::returnPressed, &ViewController::loginButtonClicked);
    connectAction(layout.passwordTextfield, &QLineEdit::returnPressed, &ViewController::loginButtonClicked);
    connectAction(layout.createAccountButton, &QPushButton::clicked,
                  &ViewController::createAccountButtonClicked);
    connectAction(layout.forgotPasswordButton, &QPushButton::clicked,
                  &ViewController::forgotPasswordButtonClicked);
    return root;
}

void ViewController::viewDidAppear()
{
    Screen::viewDidAppear();
    Window *const shownIn = window();
    if (shownIn != nullptr)
        shownIn->setStyleMask(shownIn->styleMask() & ~WindowStyleMaskResizable);
    setCurrentWindow(shownIn);
    CountryMaps::shared().derive();
    // A keyring may open while the screen is shown.
    connect(&SecretStore::shared(), &SecretStore::opened, this, &ViewController::passOnToHome,
            Qt::UniqueConnection);
    passOnToHome();
    (usernameTextfield->text().isEmpty() ? usernameTextfield : passwordTextfield)->setFocus();
}

void ViewController::passOnToHome()
{
    const QString token = keychain.text(u"token"_s).value_or(QString());
    const QString username = keychain.text(u"username"_s).value_or(QString());
    if (!token.isEmpty() && !username.isEmpty())
        showHome();
}

void ViewController::loginButtonClicked()
{
    const bool isNameMissing = usernameTextfield->text().isEmpty();
    if (isNameMissing || passwordTextfield->text().isEmpty()) {
        runAlert(window(), isNameMissing ? u"Please enter user name"_s : u"Please enter password"_s);
        (isNameMissing ? usernameTextfield : passwordTextfield)->setFocus();
        return;
    }
    // The screen stays alive until the reply has been handled.
    const auto self = std::static_pointer_cast<ViewController>(shared_from_this());
    NetworkManager::forOneRequest().login(
        usernameTextfield->text(), passwordTextfield->text(),
        [self](const std::optional<Token> &reply) { self->signInReplied(reply); });
}

void ViewController::signInReplied(const std::optional<Token> &reply)
{
    if (!reply || !reply->token) {
        const QString message = reply && reply->error ? reply->error->message.value_or(QString()) : QString();
        runAlert(window(), message);
        return;
    }
    // The text of the field when the reply arrives, not the one that was sent.
    keychain.set(usernameTextfield->text(), u"username"_s);
    keychain.set(*reply->token, u"token"_s);
    passwordTextfield->setText(QString());
    showHome();
}

void ViewController::createAccountButtonClicked()
{
    openWebSitePage(u"/"_s);
}

void ViewController::forgotPasswordButtonClicked()
{
    replaceBy(screens::forgot);
}

void ViewController::showHome()
{
    replaceBy(screens::home);
}

} // namespace velmora
