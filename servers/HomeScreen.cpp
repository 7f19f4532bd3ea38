#include "servers/HomeScreen.h"

namespace velmora {

namespace {

std::weak_ptr<HomeScreen> &slot()
{
    static std::weak_ptr<HomeScreen> screen;
    return screen;
}

} // namespace

std::shared_ptr<HomeScreen> HomeScreen::current()
{
    return slot().lock();
}

void HomeScreen::setCurrent(const std::weak_ptr<HomeScreen> &screen)
{
    slot() = screen;
}

} // namespace velmora
