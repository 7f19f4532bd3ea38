#pragma once

#include <QHash>
#include <QString>

#include <functional>
#include <memory>

namespace velmora {

class Screen;

/// The table of screens: from an identifier to the class of the screen and a way to make one. It is what lets
/// a screen lead to another without knowing it.
class Storyboard : public std::enable_shared_from_this<Storyboard>
{
public:
    using Factory = std::function<std::shared_ptr<Screen>()>;

    static std::shared_ptr<Storyboard> make();

    void add(const QString &identifier, const QString &className, Factory factory);

    /// A new screen of the entry, whatever its class; null when there is none.
    std::shared_ptr<Screen> instantiate(const QString &identifier);
    /// A new screen of the entry, if the entry's class is the expected one; null otherwise.
    std::shared_ptr<Screen> instantiate(const QString &identifier, const QString &expectedClass);

private:
    struct Entry
    {
        QString className;
        Factory factory;
    };

    Storyboard() = default;

    QHash<QString, Entry> entries;
};

} // namespace velmora
