#pragma once

#include "servers/EndpointTV.h"

namespace velmora {

/// The endpoints that are no favourites.
class CountryTV final : public EndpointTV
{
    Q_OBJECT

public:
    explicit CountryTV(QWidget *parent = nullptr);

    int numberOfRowsInTableView() const override;

protected:
    std::optional<std::optional<qint64>> idInRow(int row) const override;
    EndpointCellView *cellOf(TableCellView *view) const override;
};

} // namespace velmora
