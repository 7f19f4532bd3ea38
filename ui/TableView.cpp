#include "ui/TableView.h"

#include "ui/Colors.h"
#include "ui/Style.h"

#include <QApplication>
#include <QLayout>
#include <QPainter>
#include <QPaintEvent>
#include <QScrollBar>

#include <algorithm>
#include <utility>

namespace velmora {

namespace {

/// Room that a row should have at least, in digits: they are as wide in a Chinese font as in a Latin one.
constexpr int minimumDigits = 40;

} // namespace

TableCellView::TableCellView(QWidget *parent) : QWidget(parent)
{
    setAttribute(Qt::WA_Hover);
}

TableView *TableCellView::table() const
{
    return static_cast<TableView *>(parentWidget()->parentWidget());
}

void TableCellView::viewWillDraw()
{
    if (layout() != nullptr)
        layout()->activate();
}

void TableCellView::setSelected(bool isSelected)
{
    if (std::exchange(selected, isSelected) != isSelected)
        applyColors();
}

void TableCellView::applyColors()
{
    const QPalette ground = parentWidget()->palette();
    setPalette(
        selected ? colors::onFill(ground.color(QPalette::Highlight), ground.color(QPalette::HighlightedText))
                 : QPalette());
}

void TableCellView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    // Setting a palette that is set already causes no further event.
    if (event->type() == QEvent::PaletteChange)
        applyColors();
}

void TableCellView::paintEvent(QPaintEvent *)
{
    viewWillDraw();
    QPainter painter(this);
    const QRectF area = QRectF(rect()).adjusted(0, 0.5, 0, -0.5);
    if (selected)
        Style::drawPanel(&painter, area, palette().color(QPalette::Window));
    else if (underMouse())
        Style::drawPanel(&painter, area, colors::hover(palette()));
    if (selected && table()->hasFocus())
        Style::drawFocusRing(&painter, area.adjusted(2, 2, -2, -2), palette().color(QPalette::WindowText),
                             Style::radius - 2);
}

TableView::TableView(QWidget *parent) : QAbstractScrollArea(parent)
{
    installAccessibility();
    setFrameShape(NoFrame);
    viewport()->setAutoFillBackground(false);
    setFocusPolicy(Qt::StrongFocus);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    // The bar lies over the rows, which show through it.
    verticalScrollBar()->setAttribute(Qt::WA_OpaquePaintEvent, false);
}

void TableView::reloadData()
{
    const int count = numberOfRowsInTableView();
    const bool changed = std::exchange(rows, count) != count || !loaded;
    loaded = true;
    if (selection >= rows)
        selection = -1;
    if (changed) {
        setAccessibleDescription(rows == 0 ? emptyLine : QString());
        updateExtent();
        viewport()->update();
    }
    layoutRows(true);
}

void TableView::selectRow(int row)
{
    if (row >= 0 && row < rows && tableViewShouldSelectRow(row) && setSelectedRowSilently(row))
        tableViewSelectionDidChange();
}

void TableView::deselectAll()
{
    if (setSelectedRowSilently(-1))
        tableViewSelectionDidChange();
}

bool TableView::setSelectedRowSilently(int row)
{
    if (std::exchange(selection, row) == row)
        return false;
    markSelectedView();
    // With nothing selected it is the list itself that shows the focus.
    viewport()->update();
    return true;
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
    if (row < 0 || row >= rows || shown.contains(row))
        return shown.value(row);
    spare.append(tableViewViewForTableColumnRow(row));
    return spare.constLast();
}

void TableView::registerLayout(const CellLayout &layout, const QString &identifier)
{
    cellLayout = layout;
    cellIdentifier = identifier;
}

void TableView::setRowHeight(int logicalPixels)
{
    if (std::exchange(rowHeight, logicalPixels) == logicalPixels)
        return;
    updateExtent();
    layoutRows(false);
}

void TableView::setBackgroundColor(const QColor &color)
{
    if (std::exchange(background, color) != color)
        viewport()->update();
}

QSize TableView::sizeHint() const
{
    const int minimumWidth = fontMetrics().horizontalAdvance(u'0') * minimumDigits;
    if (rows > 0)
        return {minimumWidth, std::min(rows, maximumRows) * rowHeight};
    const QFontMetrics metrics(Style::font(Style::TextRole::Quiet));
    const QRect line(0, 0, std::max(width(), minimumWidth) - 2 * Style::spaceS, QWIDGETSIZE_MAX);
    const int height = metrics.boundingRect(line, Qt::TextWordWrap, emptyLine).height() + Style::spaceS;
    return {minimumWidth, std::max(rowHeight, height)};
}

QSize TableView::minimumSizeHint() const
{
    return sizeHint().boundedTo({QWIDGETSIZE_MAX, 2 * rowHeight});
}

void TableView::drawRect(const QRect &rect)
{
    QPainter painter(viewport());
    painter.fillRect(rect, background);
    if (rows == 0) {
        painter.setFont(Style::font(Style::TextRole::Quiet));
        painter.setPen(colors::quietText(palette()));
        const QRect area = viewport()->rect().adjusted(Style::spaceS, Style::spaceS, -Style::spaceS, 0);
        const Qt::Alignment alignment =
            QStyle::visualAlignment(layoutDirection(), Qt::AlignLeft | Qt::AlignTop);
        painter.drawText(area, static_cast<int>(alignment | Qt::AlignAbsolute) | Qt::TextWordWrap, emptyLine);
    }
    if (selection < 0 && hasFocus() && window()->testAttribute(Qt::WA_KeyboardFocusChange))
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
    updateExtent();
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

QRect TableView::rectOfRow(int row) const
{
    return {0, row * rowHeight - offset(), viewport()->width(), rowHeight};
}

void TableView::updateExtent()
{
    const int height = viewport()->height();
    verticalScrollBar()->setPageStep(height);
    verticalScrollBar()->setSingleStep(rowHeight);
    verticalScrollBar()->setRange(0, std::max(0, rows * rowHeight - height));
    updateGeometry();
}

void TableView::layoutRows(bool refill)
{
    const int first = offset() / rowHeight;
    const int last = std::min(rows, (offset() + viewport()->height() + rowHeight - 1) / rowHeight) - 1;
    for (const int row : shown.keys()) {
        if (row >= first && row <= last)
            continue;
        TableCellView *const view = shown.take(row);
        // Hiding the focused widget would move the focus to an unrelated one.
        if (view->isAncestorOf(window()->focusWidget()))
            setFocus(Qt::OtherFocusReason);
        view->hide();
        view->shownRow = -1;
        spare.append(view);
    }
    for (int row = first; row <= last; ++row) {
        TableCellView *const view = refill || !shown.contains(row) ? fillRow(row) : shown.value(row);
        view->setGeometry(rectOfRow(row));
        view->show();
    }
    markSelectedView();
}

TableCellView *TableView::fillRow(int row)
{
    // The last spare view is taken first: a row keeps its view, and with it the focus, the pointer and the
    // tooltip.
    if (TableCellView *const view = shown.take(row))
        spare.append(view);
    TableCellView *const view = tableViewViewForTableColumnRow(row);
    view->shownRow = row;
    shown.insert(row, view);
    announceText(view);
    return view;
}

TableCellView *TableView::makeViewWithIdentifier(const QString &identifier)
{
    if (identifier != cellIdentifier || !cellLayout)
        return nullptr;
    return spare.isEmpty() ? cellLayout(viewport()) : spare.takeLast();
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
