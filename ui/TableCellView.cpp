#include "ui/TableCellView.h"

#include "ui/Colors.h"
#include "ui/Style.h"
#include "ui/TableView.h"

#include <QApplication>
#include <QEvent>
#include <QLayout>
#include <QPainter>

namespace velmora {

TableCellView::TableCellView(QWidget *parent) : QWidget(parent)
{
    setAttribute(Qt::WA_Hover);
}

void TableCellView::viewWillDraw()
{
    if (layout() != nullptr)
        layout()->activate();
}

void TableCellView::setRow(int row)
{
    shownRow = row;
}

void TableCellView::setSelected(bool isSelected)
{
    if (std::exchange(selected, isSelected) == isSelected)
        return;
    applyColors();
    update();
}

void TableCellView::applyColors()
{
    if (!selected) {
        setPalette(QPalette());
        return;
    }
    const QPalette ground = parentWidget() != nullptr ? parentWidget()->palette() : QApplication::palette();
    setPalette(colors::onFill(ground.color(QPalette::Highlight), ground.color(QPalette::HighlightedText)));
}

void TableCellView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    // The comparison ends what setting the palette brings about.
    if (event->type() == QEvent::PaletteChange && selected && parentWidget() != nullptr &&
        palette().color(QPalette::Window) != parentWidget()->palette().color(QPalette::Highlight))
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
    const auto *table =
        qobject_cast<const TableView *>(parentWidget() != nullptr ? parentWidget()->parentWidget() : nullptr);
    if (selected && table != nullptr && table->hasFocus())
        Style::drawFocusRing(&painter, area.adjusted(2, 2, -2, -2), palette().color(QPalette::WindowText),
                             Style::radius - 2);
}

} // namespace velmora
