#include "app/SettingsVC.h"

#include "platform/UserDefaults.h"
#include "ui/Storyboard.h"

#include "ui_SettingsVC.h"

#include <QPushButton>
#include <QShortcut>

namespace velmora {

using namespace Qt::StringLiterals;

std::unique_ptr<QWidget> SettingsVC::makeView()
{
    auto root = std::make_unique<FormPage>();
    Ui::SettingsVC layout;
    layout.setupUi(root.get());
    const auto clicked = &QAbstractButton::clicked;
    connectAction(layout.homeButton, clicked, &SettingsVC::homeButtonClicked);
    connectAction(layout.changePasswordButton, clicked, &SettingsVC::changePasswordButtonClicked);
    connectAction(layout.logoutButton, clicked, &SettingsVC::logoutButtonClicked);
    for (const auto key : {QKeySequence::Back, QKeySequence::Cancel})
        connectAction(new QShortcut(key, root.get()), &QShortcut::activated, &SettingsVC::homeButtonClicked);
    return root;
}

void SettingsVC::viewDidAppear()
{
    Screen::viewDidAppear();
    // The focus goes to the first button after the one that leads back, which is a tool button.
    loadedView()->findChild<QPushButton *>()->setFocus();
}

void SettingsVC::homeButtonClicked()
{
    replaceBy(screens::home);
}

void SettingsVC::changePasswordButtonClicked()
{
    replaceBy(screens::forgot);
}

void SettingsVC::logoutButtonClicked()
{
    UserDefaults defaults = UserDefaults::standardUserDefaults();
    const QStringList keys = defaults.dictionaryRepresentation().keys();
    for (const QString &key : keys)
        defaults.removeObjectForKey(key);
    defaults.synchronize();
    replaceBy(screens::login);
}

} // namespace velmora
