#include "ui/Storyboard.h"

#include "ui/Screen.h"

namespace velmora {

std::shared_ptr<Storyboard> Storyboard::make()
{
    return std::shared_ptr<Storyboard>(new Storyboard);
}

void Storyboard::add(const QString &identifier, const QString &className, Factory factory)
{
    entries.insert(identifier, {className, std::move(factory)});
}

std::shared_ptr<Screen> Storyboard::instantiate(const QString &identifier, const QString &expectedClass)
{
    const auto entry = entries.constFind(identifier);
    return entry != entries.constEnd() && entry->className == expectedClass ? instantiate(identifier)
                                                                            : nullptr;
}

std::shared_ptr<Screen> Storyboard::instantiate(const QString &identifier)
{
    const auto entry = entries.constFind(identifier);
    if (entry == entries.constEnd())
        return nullptr;
    std::shared_ptr<Screen> screen = entry->factory();
    screen->storyboardReference = weak_from_this();
    return screen;
}

} // namespace velmora
