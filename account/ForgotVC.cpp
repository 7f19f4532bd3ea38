#include "account/ForgotVC.h"

#include "api/NetworkManager.h"
#include "ui/Alert.h"
#include "ui/Storyboard.h"
#include "ui/Window.h"

#include "ui_ForgotVC.h"

#include <QShortcut>

namespace velmora {

using namespace Qt::StringLiterals;

std::unique_ptr<QWidget> ForgotVC::makeView()
{
    auto root = std::make_unique<FormPage>();
    Ui::ForgotVC layout;
    layout.setupUi(root.get());
    dummyTextField.connect(layout.dummyTextField);
    connectAction(layout.resetButton, &QPushButton::clicked, &ForgotVC::resetAction);
    connectAction(layout.dummyTextField, &QLineEdit::returnPressed, &ForgotVC::resetAction);
    connectAction(layout.backToLoginButton, &QAbstractButton::clicked, &ForgotVC::backToLoginButtonClicked);
    for (const auto key : {QKeySequence::Back, QKeySequence::Cancel}) {
        connectAction(new QShortcut(key, root.get()), &QShortcut::activated,
                      &ForgotVC::backToLoginButtonClicked);
    }
    return root;
}

void ForgotVC::viewDidAppear()
{
    Screen::viewDidAppear();
    dummyTextField->setFocus();
    dummyTextField->selectAll();
}

void ForgotVC::resetAction()
{
    if (dummyTextField->text().isEmpty()) {
        runAlert(window(), u"Username is blank!"_s);
        dummyTextField->setFocus();
        return;
    }
    // The screen stays alive until the reply has been handled.
    const auto self = std::static_pointer_cast<ForgotVC>(shared_from_this());
    NetworkManager::forOneRequest().resetPassword(dummyTextField->text(),
                                                  [self](const auto &) { self->resetReplied(); });
}

void ForgotVC::resetReplied()
{
    // The text of the field when the reply arrives, not the one that was sent.
    runAlert(window(), u"If there is an account associated with "_s + dummyTextField->text() +
                           u" a reset link will be sent to that address."_s);
}

void ForgotVC::backToLoginButtonClicked()
{
    replaceBy(screens::login);
}

} // namespace velmora
