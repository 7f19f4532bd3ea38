#include "app/SettingsVC.h"

#include "platform/UserDefaults.h"

#include "ui_SettingsVC.h"

#include <QShortcut>

namespace velmora {

using namespace Qt::StringLiterals;

std::unique_ptr<QWidget> SettingsVC::makeView()
{
    auto root = std::make_unique<QWidget>();
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

void SettingsVC::homeButtonClicked()
{
    replaceBy(u"HomeVC"_s, u"HomeVC"_s);
}

void SettingsVC::changePasswordButtonClicked()
{
    replaceBy(u"ForgotVC"_s, u"ForgotVC"_s);
}

void SettingsVC::logoutButtonClicked()
{
    UserDefaults defaults = UserDefaults::standardUserDefaults();
    const QStringList keys = defaults.dictionaryRepresentation().keys();
    for (const QString &key : keys)
        defaults.removeObjectForKey(key);
    defaults.synchronize();
    replaceBy(u"LoginVC"_s, u"ViewController"_s);
}

} // namespace velmora
