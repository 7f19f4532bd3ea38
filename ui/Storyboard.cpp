#include "ui/Storyboard.h"

#include "ui/Screen.h"

namespace velmora {

std::shared_ptr<Storyboard> Storyboard::make()
{
    return std::shared_ptr<Storyboard>(new Storyboard);
}

void Storyboard::add(const ScreenIdentifier &identifier, Factory factory)
{
    entries.insert(identifier.name.toString(), {identifier.className.toString(), std::move(factory)});
}

std::shared_ptr<Screen> Storyboard::instantiate(const ScreenIdentifier &identifier)
{
    const QString name = identifier.name.toString();
    return entries.value(name).className == identifier.className ? instantiateNamed(name) : nullptr;
}

std::shared_ptr<Screen> Storyboard::instantiateNamed(const QString &name)
{
    const auto entry = entries.constFind(name);
    if (entry == entries.constEnd())
        return nullptr;
    std::shared_ptr<Screen> screen = entry->factory();
    screen->storyboardReference = weak_from_this();
    return screen;
}

} // namespace velmora
