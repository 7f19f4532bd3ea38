#include "ui/TableViewAccessible.h"

#include "ui/TableCellView.h"
#include "ui/TableView.h"

#include <QAccessibleWidget>

namespace velmora {

namespace {

/// The list: its children are the rows on screen, in their order.
class TableAccessible final : public QAccessibleWidget
{
public:
    explicit TableAccessible(TableView *table) : QAccessibleWidget(table, QAccessible::List) {}

    int childCount() const override { return static_cast<int>(table().visibleViews().size()); }

    QAccessibleInterface *child(int index) const override
    {
        TableCellView *const view = table().visibleViews().value(index);
        return view != nullptr ? QAccessible::queryAccessibleInterface(view) : nullptr;
    }

    int indexOfChild(const QAccessibleInterface *child) const override
    {
        const QList<TableCellView *> views = table().visibleViews();
        for (qsizetype index = 0; index < views.size(); ++index) {
            if (views[index] == child->object())
                return static_cast<int>(index);
        }
        return -1;
    }

    QAccessibleInterface *childAt(int x, int y) const override
    {
        for (TableCellView *const view : table().visibleViews()) {
            if (view->rect().contains(view->mapFromGlobal(QPoint(x, y))))
                return QAccessible::queryAccessibleInterface(view);
        }
        return nullptr;
    }

    QAccessibleInterface *focusChild() const override
    {
        const QWidget *const focus = table().window()->focusWidget();
        for (TableCellView *const view : table().visibleViews()) {
            if (view->isSelected() && table().hasFocus())
                return QAccessible::queryAccessibleInterface(view);
            if (focus != nullptr && focus == view->keyControl())
                return QAccessible::queryAccessibleInterface(view->keyControl());
        }
        return nullptr;
    }

    QString text(QAccessible::Text kind) const override
    {
        const QString text = QAccessibleWidget::text(kind);
        return kind == QAccessible::Description && text.isEmpty() && table().rowCount() == 0
                   ? table().emptyText()
                   : text;
    }

private:
    TableView &table() const { return *static_cast<TableView *>(widget()); }
};

/// A row: one name for all that it shows, its button as its child, and an action that selects it.
class RowAccessible final : public QAccessibleWidget
{
public:
    explicit RowAccessible(TableCellView *view) : QAccessibleWidget(view, QAccessible::ListItem) {}

    QAccessibleInterface *parent() const override { return QAccessible::queryAccessibleInterface(table()); }
    int childCount() const override { return view().keyControl() != nullptr ? 1 : 0; }

    QAccessibleInterface *child(int index) const override
    {
        return index == 0 && view().keyControl() != nullptr
                   ? QAccessible::queryAccessibleInterface(view().keyControl())
                   : nullptr;
    }

    int indexOfChild(const QAccessibleInterface *child) const override
    {
        return child->object() == view().keyControl() ? 0 : -1;
    }

    QString text(QAccessible::Text kind) const override
    {
        return kind == QAccessible::Name ? view().spokenText() : QAccessibleWidget::text(kind);
    }

    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.selectable = view().row() >= 0 && table()->tableViewShouldSelectRow(view().row());
        state.selected = view().isSelected();
        state.focusable = state.selectable;
        state.focused = view().isSelected() && table()->hasFocus();
        return state;
    }

    QStringList actionNames() const override
    {
        return state().selectable ? QStringList{pressAction()} : QStringList();
    }

    void doAction(const QString &name) override
    {
        if (name == pressAction())
            table()->selectRow(view().row());
    }

private:
    TableCellView &view() const { return *static_cast<TableCellView *>(widget()); }
    TableView *table() const { return static_cast<TableView *>(view().parentWidget()->parentWidget()); }
};

QAccessibleInterface *make(const QString &, QObject *object)
{
    if (auto *table = qobject_cast<TableView *>(object))
        return new TableAccessible(table);
    auto *view = qobject_cast<TableCellView *>(object);
    const bool inTable = view != nullptr && view->parentWidget() != nullptr &&
                         qobject_cast<TableView *>(view->parentWidget()->parentWidget()) != nullptr;
    return inTable ? new RowAccessible(view) : nullptr;
}

} // namespace

void installTableViewAccessibility()
{
    static const bool installed = [] {
        QAccessible::installFactory(make);
        return true;
    }();
    Q_UNUSED(installed)
}

void announceSelectedRow(TableView *table)
{
    if (!QAccessible::isActive() || !table->hasFocus())
        return;
    for (TableCellView *const view : table->visibleViews()) {
        if (!view->isSelected())
            continue;
        QAccessibleEvent focus(view, QAccessible::Focus);
        QAccessible::updateAccessibility(&focus);
        QAccessibleEvent selection(view, QAccessible::Selection);
        QAccessible::updateAccessibility(&selection);
    }
}

void announceRowText(TableCellView *view)
{
    if (!QAccessible::isActive())
        return;
    QAccessibleEvent change(view, QAccessible::NameChanged);
    QAccessible::updateAccessibility(&change);
}

} // namespace velmora
