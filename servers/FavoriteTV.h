#pragma once

#include "servers/EndpointTV.h"

namespace velmora {

/// The favourite endpoints.
class FavoriteTV final : public EndpointTV
{
    Q_OBJECT

public:
    explicit FavoriteTV(QWidget *parent = nullptr);

    int numberOfRowsInTableView() const override;

protected:
    std::optional<std::optional<qint64>> idInRow(int row) const override;
    EndpointCellView *cellOf(TableCellView *view) const override;
};

} // namespace velmora
