// The pointer and the keyboard in a list.
#include "ui/TableView.h"

#include <QAccessible>
#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QScrollBar>
#include <QTimer>

#include <algorithm>

namespace velmora {

void TableView::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    const int row = (verticalScrollBar()->value() + qRound(event->position().y())) / rowHeight;
    if (row >= rows || (row == selection && event->modifiers().testFlag(Qt::ControlModifier)))
        deselectAll();
    else
        selectRow(row);
}

void TableView::keyPressEvent(QKeyEvent *event)
{
    const int page = std::max(1, viewport()->height() / rowHeight - 1);
    switch (event->key()) {
    case Qt::Key_Up:
        return moveSelection(selection < 0 ? rows - 1 : selection - 1);
    case Qt::Key_Down:
        return moveSelection(selection + 1);
    case Qt::Key_PageUp:
        return moveSelection(selection - page);
    case Qt::Key_PageDown:
        return moveSelection(selection + page);
    case Qt::Key_Home:
        return moveSelection(0);
    case Qt::Key_End:
        return moveSelection(rows - 1);
    default:
        break;
    }
    const bool command =
        (event->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) != 0;
    const QString typed = event->text();
    if (!command && !typed.isEmpty() && typed.front().isPrint() && hasFocus())
        search(typed);
    else
        event->ignore();
}

void TableView::moveSelection(int row)
{
    if (rows == 0)
        return;
    const int target = std::clamp(row, 0, rows - 1);
    // The keyboard stays in the column of the buttons while it moves through the rows.
    const bool inControl = !hasFocus() && isAncestorOf(QApplication::focusWidget());
    scrollRowToVisible(target);
    selectRow(target);
    TableCellView *const view = shown.value(selection);
    if (inControl && view != nullptr && view->keyControl() != nullptr)
        view->keyControl()->setFocus(Qt::TabFocusReason);
    else
        announceSelectedRow();
}

void TableView::search(const QString &typed)
{
    const bool continues =
        sinceTyped.isValid() && sinceTyped.elapsed() < QApplication::keyboardInputInterval();
    typedText = continues ? typedText + typed : typed;
    sinceTyped.start();
    // A key pressed again and again goes through all the rows that begin with it.
    const bool repeats = typedText.count(typedText.front()) == typedText.size();
    const QString wanted = repeats ? typedText.left(1) : typedText;
    const int start = selection < 0 ? 0 : selection + (repeats ? 1 : 0);
    for (int step = 0; step < rows; ++step) {
        const int row = (start + step) % rows;
        if (searchTextOfRow(row).startsWith(wanted, Qt::CaseInsensitive))
            return moveSelection(row);
    }
}

void TableView::focusInEvent(QFocusEvent *event)
{
    QAbstractScrollArea::focusInEvent(event);
    // Qt announces the list itself when this has returned; the row comes after it.
    if (QAccessible::isActive())
        QTimer::singleShot(0, this, [this] { announceSelectedRow(); });
}

bool TableView::focusNextPrevChild(bool next)
{
    // The selected row's button is the next stop, so the row must be there.
    if (next && hasFocus() && selection >= 0)
        scrollRowToVisible(selection);
    return QAbstractScrollArea::focusNextPrevChild(next);
}

} // namespace velmora
