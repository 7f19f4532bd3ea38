#include "app/MainStoryboard.h"

#include "account/ViewController.h"
#include "connection/HomeVC.h"

namespace velmora {

using namespace Qt::StringLiterals;

std::shared_ptr<Storyboard> makeMainStoryboard()
{
    std::shared_ptr<Storyboard> storyboard = Storyboard::make();
    storyboard->add(u"LoginVC"_s, u"ViewController"_s, Screen::make<ViewController>);
    storyboard->add(u"HomeVC"_s, u"HomeVC"_s, Screen::make<HomeVC>);
    return storyboard;
}

} // namespace velmora
