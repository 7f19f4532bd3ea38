#include "servers/ServerTV.h"

#include "servers/CellLayouts.h"

namespace velmora {

ServerTV::ServerTV(const QString &nibName, const QString &identifierName, int rowLogicalPixels,
                   QWidget *parent)
    : TableView(parent), cellNibName(nibName), cellIdentifierName(identifierName), rowHeight(rowLogicalPixels)
{
    setUp();
}

void ServerTV::drawRect(const QRect &rect)
{
    TableView::drawRect(rect);
    setUp();
}

void ServerTV::setUp()
{
    registerLayout(cellLayoutNamed(cellNibName), cellIdentifierName);
    setRowHeight(rowHeight);
    setBackgroundColor(Qt::transparent);
}

} // namespace velmora
