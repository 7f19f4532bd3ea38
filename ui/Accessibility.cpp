#include "ui/Accessibility.h"

#include "ui/ModalPanel.h"
#include "ui/Window.h"

#include <QAccessibleWidget>
#include <QLineEdit>

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

} // namespace

void installAccessibility()
{
    static const bool installed = [] {
        QAccessible::installFactory(makeAccessible);
        QAccessible::installUpdateHandler(forwardEvent);
        return true;
    }();
    Q_UNUSED(installed)
}

} // namespace velmora
