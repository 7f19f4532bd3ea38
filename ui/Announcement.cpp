#include "ui/Announcement.h"

#include <QAccessible>
#include <QAccessibleObject>
#include <QTimer>
#include <QWidget>

namespace velmora {

namespace {

#if QT_VERSION >= QT_VERSION_CHECK(6, 8, 0)

void send(QWidget *where, const QString &text)
{
    QAccessibleAnnouncementEvent event(where, text);
    QAccessible::updateAccessibility(&event);
}

#else

using namespace std::chrono_literals;

/// A screen reader asks for the name of a notification after its event.
constexpr auto lifetime = 10s;

/// An object that is spoken and not seen; its parent is its QObject's parent.
class Spoken final : public QAccessibleObject
{
public:
    Spoken(QObject *object, QAccessible::Role role, const QString &spoken)
        : QAccessibleObject(object), spokenRole(role), name(spoken)
    {
        QAccessible::registerAccessibleInterface(this);
    }

    QAccessibleInterface *parent() const override
    {
        return QAccessible::queryAccessibleInterface(object()->parent());
    }
    QAccessibleInterface *child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface *) const override { return -1; }
    QString text(QAccessible::Text kind) const override
    {
        return kind == QAccessible::Name ? name : QString();
    }
    QAccessible::Role role() const override { return spokenRole; }
    QAccessible::State state() const override { return {}; }

private:
    QAccessible::Role spokenRole;
    QString name;
};

/// Qt sends no announcement before 6.8, and Orca speaks none before 45. Both know a notification that
/// appears. Inside a status bar, Orca speaks its text alone, without the word "notification".
void send(QWidget *where, const QString &text)
{
    auto *const bar = new QObject(where);
    QTimer::singleShot(lifetime, bar, &QObject::deleteLater);
    new Spoken(bar, QAccessible::StatusBar, QString());
    QAccessibleEvent event(new Spoken(new QObject(bar), QAccessible::Notification, text),
                           QAccessible::ObjectShow);
    QAccessible::updateAccessibility(&event);
}

#endif

} // namespace

void announce(QWidget *where, const QString &text)
{
    if (where == nullptr || text.isEmpty() || !QAccessible::isActive())
        return;
    // A change of the focus lets Orca drop what waits before it.
    QTimer::singleShot(0, where, [where, text] { send(where, text); });
}

} // namespace velmora
