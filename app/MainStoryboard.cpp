#include "app/MainStoryboard.h"

#include "account/ForgotVC.h"
#include "account/ViewController.h"
#include "app/SettingsVC.h"
#include "connection/HomeVC.h"
#include "notices/FutureVC.h"
#include "notices/Notification1VC.h"
#include "notices/Notification2VC.h"
#include "notices/Notification3VC.h"

namespace velmora {

using namespace Qt::StringLiterals;

std::shared_ptr<Storyboard> makeMainStoryboard()
{
    std::shared_ptr<Storyboard> storyboard = Storyboard::make();
    storyboard->add(u"LoginVC"_s, u"ViewController"_s, Screen::make<ViewController>);
    storyboard->add(u"HomeVC"_s, u"HomeVC"_s, Screen::make<HomeVC>);
    storyboard->add(u"ForgotVC"_s, u"ForgotVC"_s, Screen::make<ForgotVC>);
    storyboard->add(u"SettingsVC"_s, u"SettingsVC"_s, Screen::make<SettingsVC>);
    storyboard->add(u"Notification1VC"_s, u"Notification1VC"_s, Screen::make<Notification1VC>);
    storyboard->add(u"Notification2VC"_s, u"Notification2VC"_s, Screen::make<Notification2VC>);
    storyboard->add(u"Notification3VC"_s, u"Notification3VC"_s, Screen::make<Notification3VC>);
    storyboard->add(u"FutureVC"_s, u"FutureVC"_s, Screen::make<FutureVC>);
    return storyboard;
}

} // namespace velmora
