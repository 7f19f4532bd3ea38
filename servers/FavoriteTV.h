#pragma once

#include "servers/EndpointTV.h"

namespace velmora {

/// A row of the favourites; its star ends that.
class FavoriteCellView final : public EndpointCellView
{
    Q_OBJECT

public:
    explicit FavoriteCellView(QWidget *parent);

    Outlet<LatencyLabel> pingLbl;
    /// Declared.
    QString flag = QLatin1String("");
    QString country = QLatin1String("");

    void starClicked() override;

protected:
    LatencyLabel &latencyLabel() const override { return *pingLbl; }
};

/// The favourite endpoints.
class FavoriteTV final : public EndpointTV
{
    Q_OBJECT

public:
    explicit FavoriteTV(QWidget *parent = nullptr);

    int numberOfRowsInTableView() const override;

protected:
    std::optional<qint64> idInRow(int row) const override;
};

} // namespace velmora
