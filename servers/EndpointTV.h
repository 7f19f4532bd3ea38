#pragma once

#include "api/Records.h"
#include "servers/ServerTV.h"

namespace velmora {

class EndpointCellView;

/// A list of endpoints from the store. Tells its owner which one is selected.
class EndpointTV : public ServerTV
{
    Q_OBJECT

public:
    /// Called with the id of the endpoint that is selected, -1 when none is, and the list that tells. Runs
    /// within whatever changes the selection, also when that is code. Set by the owner.
    std::function<void(qint64 endpointId, TableView *list)> selectedEndpointDelegate;

    /// Whether the selected row shows the endpoint.
    bool isEndpointSelected(qint64 endpointId) const;
    /// The row that shows the endpoint, the selected one before others; -1 when none does.
    int indexOfEndpoint(qint64 endpointId) const;
    /// Selects the row that shows the endpoint, or none where none does, and reports neither. Returns whether
    /// a row is selected.
    bool selectEndpointSilently(qint64 endpointId);

    TableCellView *tableViewViewForTableColumnRow(int row) override;
    void tableViewSelectionDidChange() override;
    QString searchTextOfRow(int row) const override;

protected:
    EndpointTV(const QString &nibName, const QString &identifierName, QWidget *parent);

    /// What the store lists in this row; nothing when it lists no such row any more.
    virtual std::optional<std::optional<qint64>> idInRow(int row) const = 0;
    /// The view as this list's kind of row; null when it is another kind.
    virtual EndpointCellView *cellOf(TableCellView *view) const = 0;

private:
    /// The first record of all endpoints with the id that the store lists in this row, or an empty one.
    Service recordOfRow(int row) const;
    /// What the row's star button carries.
    qint64 tagOfRow(int row) const { return recordOfRow(row).id.value_or(0); }
};

} // namespace velmora
