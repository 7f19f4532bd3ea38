// A list for assistive tools: as many rows as it has, on screen or not.
#include "ui/TableView.h"

#include <QAccessibleObject>
#include <QAccessibleWidget>
#include <QHash>

#include <utility>

namespace velmora {

namespace {

/// A row: one name for all that it shows, its button as its child, and an action that selects it. Its object
/// is the row's view or, for a row that is not on screen, one that only stands for it.
class Row final : public QAccessibleObject, public QAccessibleActionInterface
{
public:
    Row(TableView &list, TableCellView *cell) : QAccessibleObject(cell), table(list), view(cell) {}
    Row(TableView &list, int row, QObject *standIn) : QAccessibleObject(standIn), table(list), hiddenRow(row)
    {
        QAccessible::registerAccessibleInterface(this);
    }

    int number() const { return view != nullptr ? view->row() : hiddenRow; }

    bool isValid() const override { return QAccessibleObject::isValid() && number() < table.rowCount(); }
    QAccessible::Role role() const override { return QAccessible::ListItem; }
    QAccessibleInterface *parent() const override { return QAccessible::queryAccessibleInterface(&table); }
    int childCount() const override { return control() != nullptr ? 1 : 0; }
    QAccessibleInterface *child(int) const override
    {
        return QAccessible::queryAccessibleInterface(control());
    }
    int indexOfChild(const QAccessibleInterface *child) const override
    {
        return child->object() == control() ? 0 : -1;
    }
    QRect rect() const override
    {
        return view != nullptr ? QRect(view->mapToGlobal(QPoint()), view->size()) : QRect();
    }

    QString text(QAccessible::Text kind) const override
    {
        if (kind != QAccessible::Name || !isValid())
            return {};
        return (view != nullptr ? view : table.viewAtRow(hiddenRow))->spokenText();
    }

    QAccessible::State state() const override
    {
        QAccessible::State state;
        state.invalid = !isValid();
        state.offscreen = view == nullptr;
        state.invisible = view != nullptr ? !view->isVisible() : !table.isVisible();
        state.disabled = !table.isEnabled();
        state.selectable = state.focusable = table.tableViewShouldSelectRow(number());
        state.selected = number() >= 0 && table.selectedRow() == number();
        state.focused = state.selected && table.hasFocus();
        return state;
    }

    void *interface_cast(QAccessible::InterfaceType type) override
    {
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface *>(this)
                                                    : nullptr;
    }
    QStringList actionNames() const override
    {
        return state().selectable ? QStringList{pressAction()} : QStringList();
    }
    QStringList keyBindingsForAction(const QString &) const override { return {}; }
    void doAction(const QString &name) override
    {
        if (name == pressAction())
            table.selectRow(number());
    }

private:
    QWidget *control() const { return view != nullptr ? view->keyControl() : nullptr; }

    TableView &table;
    TableCellView *const view = nullptr;
    const int hiddenRow = -1;
};

/// The list: its children are its rows.
class List final : public QAccessibleWidget
{
public:
    explicit List(TableView *table) : QAccessibleWidget(table, QAccessible::List) {}

    int childCount() const override { return table().rowCount(); }

    QAccessibleInterface *child(int index) const override
    {
        if (TableCellView *const view = table().visibleViews().value(index))
            return QAccessible::queryAccessibleInterface(view);
        if (index < 0 || index >= childCount())
            return nullptr;
        QObject *&standIn = standIns[index];
        if (standIn == nullptr)
            new Row(table(), index, standIn = new QObject(&table()));
        return QAccessible::queryAccessibleInterface(standIn);
    }

    int indexOfChild(const QAccessibleInterface *child) const override
    {
        const auto *const row = dynamic_cast<const Row *>(child);
        return row != nullptr ? row->number() : -1;
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
        TableCellView *const view = table().visibleViews().value(table().selectedRow());
        return view != nullptr && table().hasFocus() ? QAccessible::queryAccessibleInterface(view)
                                                     : QAccessibleWidget::focusChild();
    }

private:
    TableView &table() const { return *static_cast<TableView *>(widget()); }

    /// Stand for the rows that were asked for while they were not on screen.
    mutable QHash<int, QObject *> standIns;
};

QAccessibleInterface *make(const QString &, QObject *object)
{
    if (auto *table = qobject_cast<TableView *>(object))
        return new List(table);
    if (auto *view = qobject_cast<TableCellView *>(object))
        return new Row(*view->table(), view);
    return nullptr;
}

} // namespace

void TableView::installAccessibility()
{
    QAccessible::installFactory(make);
}

void TableView::announceSelectedRow() const
{
    TableCellView *const view = shown.value(selection);
    if (!QAccessible::isActive() || !hasFocus() || view == nullptr)
        return;
    for (const QAccessible::Event type : {QAccessible::Focus, QAccessible::Selection}) {
        QAccessibleEvent event(view, type);
        QAccessible::updateAccessibility(&event);
    }
}

void TableView::announceText(TableCellView *view)
{
    if (!QAccessible::isActive())
        return;
    const QString text = view->spokenText();
    if (std::exchange(view->toldText, text) == text)
        return;
    QAccessibleEvent change(view, QAccessible::NameChanged);
    QAccessible::updateAccessibility(&change);
}

} // namespace velmora
