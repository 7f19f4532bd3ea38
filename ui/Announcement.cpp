#include "ui/Announcement.h"

#include "ui/ModalPanel.h"
#include "ui/Window.h"

#include <QAccessibleWidget>
#include <QLineEdit>
#include <QTimer>

namespace velmora {

namespace {

/// A window with a title bar, or else a dialog: a screen reader reads its title and sentence when the focus
/// enters it.
class WindowAccessible final : public QAccessibleWidget
{
public:
    explicit WindowAccessible(QWidget *window) : QAccessibleWidget(window) {}

    QAccessible::Role role() const override
    {
        const auto *const window = qobject_cast<Window *>(widget());
        const bool isTitled = window != nullptr && (window->styleMask() & WindowStyleMaskTitled) != 0;
        return isTitled ? QAccessible::Window : QAccessible::Dialog;
    }

    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.modal = widget()->isModal() || !widget()->isWindow();
        return state;
    }
};

QAccessibleInterface *makeAccessible(const QString &, QObject *object)
{
    const bool isWindow = qobject_cast<Window *>(object) != nullptr;
    return isWindow || qobject_cast<ModalPanel *>(object) != nullptr
               ? new WindowAccessible(static_cast<QWidget *>(object))
               : nullptr;
}

/// Passes an event on unless it tells the text of a password or comes before its field's focus. Qt sends the
/// characters of a password, and a screen reader speaks them. Qt sends the cursor of a field before the
/// focus, and Orca then does not speak the field's name.
void forwardEvent(QAccessibleEvent *event)
{
    static const QObject *focused = nullptr;
    if (event->type() == QAccessible::Focus)
        focused = event->object();
    const auto *const field = qobject_cast<QLineEdit *>(event->object());
    const bool tellsText = event->type() >= QAccessible::TextAttributeChanged &&
                           event->type() <= QAccessible::TextSelectionChanged;
    if (field != nullptr && tellsText && (field != focused || field->echoMode() != QLineEdit::Normal))
        return;
    QAccessible::installUpdateHandler(nullptr);
    QAccessible::updateAccessibility(event);
    QAccessible::installUpdateHandler(forwardEvent);
}

#if QT_VERSION >= QT_VERSION_CHECK(6, 8, 0)

void send(QWidget *where, const QString &text)
{
    // Orca 48 drops the second of two announcements within 100 ms, except those of a window itself.
    QAccessibleAnnouncementEvent event(where->window(), text);
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

void installAccessibility()
{
    [[maybe_unused]] static const bool installed = [] {
        QAccessible::installFactory(makeAccessible);
        QAccessible::installUpdateHandler(forwardEvent);
        return true;
    }();
}

} // namespace velmora
