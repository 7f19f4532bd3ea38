#include "servers/EndpointTV.h"

#include "api/ServiceManager.h"
#include "servers/EndpointCellView.h"
#include "servers/ServiceIndex.h"

namespace velmora {

namespace {

constexpr int endpointRowHeight = 35;

} // namespace

EndpointTV::EndpointTV(const QString &nibName, const QString &identifierName, QWidget *parent)
    : ServerTV(nibName, identifierName, endpointRowHeight, parent)
{
}

Service EndpointTV::recordOfRow(int row) const
{
    const std::optional<std::optional<qint64>> id = idInRow(row);
    if (!id)
        return {};
    // Only this list carries the latest latencies.
    const Service *const record =
        ServiceIndex::ofAllServices().first(ServiceManager::shared().allService, *id);
    return record != nullptr ? *record : Service();
}

bool EndpointTV::isEndpointSelected(qint64 endpointId) const
{
    return selectedRow() >= 0 && tagOfRow(selectedRow()) == endpointId;
}

int EndpointTV::indexOfEndpoint(qint64 endpointId) const
{
    if (isEndpointSelected(endpointId))
        return selectedRow();
    for (int row = 0; row < rowCount(); ++row) {
        const std::optional<std::optional<qint64>> id = idInRow(row);
        if (id && id->value_or(0) == endpointId && tagOfRow(row) == endpointId)
            return row;
    }
    return -1;
}

bool EndpointTV::selectEndpointSilently(qint64 endpointId)
{
    const int row = indexOfEndpoint(endpointId);
    setSelectedRowSilently(row);
    return row >= 0;
}

TableCellView *EndpointTV::tableViewViewForTableColumnRow(int row)
{
    TableCellView *const view = makeViewWithIdentifier(cellIdentifierName);
    EndpointCellView *const cell = cellOf(view);
    if (cell == nullptr)
        fatalError(QStringLiteral("The layout %1 holds another kind of row").arg(cellNibName));
    const Service record = recordOfRow(row);
    cell->starBtn->setTag(record.id.value_or(0));
    cell->configure(record);
    return cell;
}

void EndpointTV::tableViewSelectionDidChange()
{
    qint64 id = -1;
    if (selectedRow() >= 0) {
        if (const EndpointCellView *const cell = cellOf(viewAtRow(selectedRow())))
            id = cell->starBtn->tag();
    }
    if (selectedEndpointDelegate)
        selectedEndpointDelegate(id, this);
}

QString EndpointTV::searchTextOfRow(int row) const
{
    return recordOfRow(row).name;
}

} // namespace velmora
