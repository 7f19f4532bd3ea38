#pragma once

#include "servers/EndpointTV.h"

namespace velmora {

/// A row of the endpoints that are no favourites; its star makes it one.
class CountryCellView final : public EndpointCellView
{
    Q_OBJECT

public:
    explicit CountryCellView(QWidget *parent);

    Outlet<LatencyLabel> pingLabel;

    void starClicked() override;

protected:
    LatencyLabel &latencyLabel() const override { return *pingLabel; }
};

/// The endpoints that are no favourites.
class CountryTV final : public EndpointTV
{
    Q_OBJECT

public:
    explicit CountryTV(QWidget *parent = nullptr);

    int numberOfRowsInTableView() const override;

protected:
    std::optional<qint64> idInRow(int row) const override;
};

} // namespace velmora
