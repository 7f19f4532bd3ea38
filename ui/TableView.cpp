#include "ui/TableView.h"

#include "ui/Colors.h"
#include "ui/Style.h"
#include "ui/TableCellView.h"
#include "ui/TableViewAccessible.h"

#include <QPainter>
#include <QPaintEvent>
#include <QScrollBar>

#include <algorithm>
#include <utility>

namespace velmora {

namespace {

/// Room that a row should have at least, in average characters of the system's font.
constexpr int leastCharacters = 44;

} // namespace

TableView::TableView(QWidget *parent) : QAbstractScrollArea(parent)
{
    installTableViewAccessibility();
    setFrameShape(NoFrame);
    setFocusPolicy(Qt::StrongFocus);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    // The bar lies over the rows, which show through it.
    verticalScrollBar()->setAttribute(Qt::WA_OpaquePaintEvent, false);
    verticalScrollBar()->setSingleStep(rowHeight);
}

TableView::~TableView() = default;

void TableView::reloadData()
{
    loaded = true;
    const int count = numberOfRowsInTableView();
    const bool changed = std::exchange(rows, count) != count;
    if (selection >= rows)
        selection = -1;
    if (changed) {
        updateScrollRange();
        updateGeometry();
        viewport()->update();
    }
    layoutRows(true);
}

void TableView::selectRow(int row)
{
    if (row < 0 || row >= rows || row == selection || !tableViewShouldSelectRow(row))
        return;
    setSelectedRowSilently(row);
    tableViewSelectionDidChange();
}

void TableView::deselectAll()
{
    if (selection < 0)
        return;
    setSelectedRowSilently(-1);
    tableViewSelectionDidChange();
}

void TableView::setSelectedRowSilently(int row)
{
    if (std::exchange(selection, row) == row)
        return;
    markSelectedView();
    // With nothing selected it is the list itself that shows the focus.
    if (hasFocus())
        viewport()->update();
}

void TableView::scrollRowToVisible(int row)
{
    const QRect area = rectOfRow(row);
    if (area.top() < 0)
        verticalScrollBar()->setValue(offset() + area.top());
    else if (area.bottom() >= viewport()->height())
        verticalScrollBar()->setValue(offset() + area.bottom() + 1 - viewport()->height());
}

TableCellView *TableView::viewAtRow(int row)
{
    if (row < 0 || row >= rows)
        return nullptr;
    if (TableCellView *const view = shown.value(row))
        return view;
    TableCellView *const view = fillRow(row);
    if (view != nullptr)
        spare.append(view);
    return view;
}

void TableView::registerLayout(const CellLayout &layout, const QString &identifier)
{
    layouts.insert(identifier, layout);
}

void TableView::setRowHeight(int logicalPixels)
{
    if (std::exchange(rowHeight, logicalPixels) == logicalPixels)
        return;
    verticalScrollBar()->setSingleStep(rowHeight);
    updateScrollRange();
    updateGeometry();
    layoutRows(false);
}

void TableView::setBackgroundColor(const QColor &color)
{
    if (std::exchange(background, color) == color)
        return;
    viewport()->setAutoFillBackground(false);
    viewport()->update();
}

void TableView::setEmptyText(const QString &text)
{
    emptyLine = text;
    updateGeometry();
    viewport()->update();
}

QSize TableView::sizeHint() const
{
    const int leastWidth = fontMetrics().averageCharWidth() * leastCharacters;
    if (rows > 0)
        return {leastWidth, std::min(rows, wantedRows) * rowHeight};
    const QFontMetrics metrics(Style::font(Style::TextRole::Quiet));
    const QRect line(0, 0, std::max(width(), leastWidth) - 2 * Style::spaceS, QWIDGETSIZE_MAX);
    const int height = metrics.boundingRect(line, Qt::TextWordWrap, emptyLine).height() + Style::spaceS;
    return {leastWidth, std::max(rowHeight, height)};
}

QSize TableView::minimumSizeHint() const
{
    return {sizeHint().width(), std::min(sizeHint().height(), 2 * rowHeight)};
}

bool TableView::tableViewShouldSelectRow(int) const
{
    return true;
}

void TableView::tableViewSelectionDidChange() {}

QString TableView::searchTextOfRow(int) const
{
    return {};
}

void TableView::drawRect(const QRect &rect)
{
    QPainter painter(viewport());
    if (background.alpha() > 0)
        painter.fillRect(rect, background);
    if (rows == 0) {
        painter.setFont(Style::font(Style::TextRole::Quiet));
        painter.setPen(colors::quietText(palette()));
        const QRect area = viewport()->rect().adjusted(Style::spaceS, Style::spaceS, -Style::spaceS, 0);
        const Qt::Alignment alignment =
            QStyle::visualAlignment(layoutDirection(), Qt::AlignLeft | Qt::AlignTop);
        painter.drawText(area, static_cast<int>(alignment | Qt::AlignAbsolute) | Qt::TextWordWrap, emptyLine);
    }
    const bool keyboard = hasFocus() && window()->testAttribute(Qt::WA_KeyboardFocusChange);
    if (keyboard && selection < 0)
        Style::drawFocusRing(&painter, viewport()->rect(), palette().color(QPalette::Highlight));
}

void TableView::showEvent(QShowEvent *event)
{
    QAbstractScrollArea::showEvent(event);
    if (!loaded)
        reloadData();
}

void TableView::paintEvent(QPaintEvent *event)
{
    drawRect(event->rect());
}

void TableView::resizeEvent(QResizeEvent *event)
{
    QAbstractScrollArea::resizeEvent(event);
    updateScrollRange();
    layoutRows(false);
}

void TableView::scrollContentsBy(int, int)
{
    layoutRows(false);
}

int TableView::offset() const
{
    return verticalScrollBar()->value();
}

int TableView::rowAt(int y) const
{
    const int row = (offset() + y) / rowHeight;
    return y >= 0 && row < rows ? row : -1;
}

QRect TableView::rectOfRow(int row) const
{
    return {0, row * rowHeight - offset(), viewport()->width(), rowHeight};
}

void TableView::updateScrollRange()
{
    const int height = viewport()->height();
    verticalScrollBar()->setPageStep(height);
    verticalScrollBar()->setRange(0, std::max(0, rows * rowHeight - height));
}

void TableView::layoutRows(bool refill)
{
    const int first = offset() / rowHeight;
    const int last = std::min(rows, (offset() + viewport()->height() + rowHeight - 1) / rowHeight) - 1;
    for (const int row : shown.keys()) {
        if (row < first || row > last)
            retire(shown.take(row));
    }
    for (int row = first; row <= last; ++row) {
        const bool exists = shown.contains(row);
        TableCellView *const view = exists && !refill ? shown.value(row) : fillRow(row);
        if (view == nullptr)
            continue;
        shown.insert(row, view);
        view->setRow(row);
        view->setGeometry(rectOfRow(row));
    }
    markSelectedView();
    for (TableCellView *const view : std::as_const(shown))
        view->show();
}

TableCellView *TableView::fillRow(int row)
{
    // A row keeps the view that it has, and with it the focus, the pointer and the tooltip.
    preferred = shown.take(row);
    TableCellView *const view = tableViewViewForTableColumnRow(row);
    if (TableCellView *const unused = std::exchange(preferred, nullptr))
        retire(unused);
    return view;
}

TableCellView *TableView::makeViewWithIdentifier(const QString &identifier)
{
    if (preferred != nullptr && preferred->identifier() == identifier)
        return std::exchange(preferred, nullptr);
    const auto fits = [&identifier](const TableCellView *view) {
        return view->identifier() == identifier;
    };
    const auto found = std::find_if(spare.begin(), spare.end(), fits);
    if (found != spare.end()) {
        TableCellView *const view = *found;
        spare.erase(found);
        return view;
    }
    const CellLayout layout = layouts.value(identifier);
    TableCellView *const view = layout ? layout(viewport()) : nullptr;
    if (view != nullptr)
        view->setIdentifier(identifier);
    return view;
}

void TableView::retire(TableCellView *view)
{
    // Hiding the widget with the focus would hand the focus to a stranger.
    if (view->isAncestorOf(window()->focusWidget()))
        setFocus(Qt::OtherFocusReason);
    view->hide();
    view->setRow(-1);
    view->setSelected(false);
    spare.append(view);
}

void TableView::markSelectedView()
{
    for (TableCellView *const view : std::as_const(shown)) {
        const bool selected = view->row() == selection;
        view->setSelected(selected);
        // The keyboard reaches the control of the selected row alone: a list is one stop, not twenty.
        QWidget *const control = view->keyControl();
        if (control == nullptr)
            continue;
        if (!selected && control->hasFocus())
            setFocus(Qt::OtherFocusReason);
        control->setFocusPolicy(selected ? Qt::TabFocus : Qt::NoFocus);
        if (selected && nextInFocusChain() != control)
            setTabOrder(this, control);
    }
}

} // namespace velmora
