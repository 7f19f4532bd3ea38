#include "app/MainStoryboard.h"

#include "account/ForgotVC.h"
#include "account/ViewController.h"
#include "app/SettingsVC.h"
#include "connection/HomeVC.h"
#include "notices/Notices.h"

namespace velmora {

using namespace Qt::StringLiterals;

std::shared_ptr<Storyboard> makeMainStoryboard()
{
    std::shared_ptr<Storyboard> storyboard = Storyboard::make();
    storyboard->add(screens::login, Screen::make<ViewController>);
    storyboard->add(screens::home, Screen::make<HomeVC>);
    storyboard->add(screens::forgot, Screen::make<ForgotVC>);
    storyboard->add(screens::settings, Screen::make<SettingsVC>);
    storyboard->add(screens::notification1, Screen::make<Notification1VC>);
    storyboard->add(screens::notification2, Screen::make<Notification2VC>);
    storyboard->add(screens::notification3, Screen::make<Notification3VC>);
    storyboard->add(screens::future, Screen::make<FutureVC>);
    return storyboard;
}

} // namespace velmora
