#pragma once

#include <QHash>
#include <QString>

#include <functional>
#include <memory>

namespace velmora {

class Screen;

/// The name of a screen in the storyboard and the class that must stand behind it.
struct ScreenIdentifier
{
    QStringView name;
    QStringView className;
};

/// The identifiers of all screens. Constants, so that a typing error does not compile.
namespace screens {
inline constexpr ScreenIdentifier login{u"LoginVC", u"ViewController"};
inline constexpr ScreenIdentifier home{u"HomeVC", u"HomeVC"};
inline constexpr ScreenIdentifier forgot{u"ForgotVC", u"ForgotVC"};
inline constexpr ScreenIdentifier settings{u"SettingsVC", u"SettingsVC"};
inline constexpr ScreenIdentifier notification1{u"Notification1VC", u"Notification1VC"};
inline constexpr ScreenIdentifier notification2{u"Notification2VC", u"Notification2VC"};
inline constexpr ScreenIdentifier notification3{u"Notification3VC", u"Notification3VC"};
inline constexpr ScreenIdentifier future{u"FutureVC", u"FutureVC"};
} // namespace screens

/// The table of screens: from an identifier to a way to make the screen. It lets a screen lead to another
/// without including it.
class Storyboard : public std::enable_shared_from_this<Storyboard>
{
public:
    using Factory = std::function<std::shared_ptr<Screen>()>;

    static std::shared_ptr<Storyboard> make() { return std::make_shared<Storyboard>(); }

    void add(const ScreenIdentifier &identifier, Factory factory);

    /// A new screen of the entry with this name, if the entry has the expected class; null otherwise.
    std::shared_ptr<Screen> instantiate(const ScreenIdentifier &identifier);
    /// A new screen of the entry with this name, whatever its class; null when there is none. For names that
    /// stand in a layout.
    std::shared_ptr<Screen> instantiateNamed(const QString &name);

private:
    struct Entry
    {
        QString className;
        Factory factory;
    };

    QHash<QString, Entry> entries;
};

} // namespace velmora
