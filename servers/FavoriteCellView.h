#pragma once

#include "servers/EndpointCellView.h"

namespace velmora {

/// A row of the favourites; its star ends that.
class FavoriteCellView final : public EndpointCellView
{
    Q_OBJECT

public:
    using EndpointCellView::EndpointCellView;

    Outlet<LatencyLabel> pingLbl;
    /// Part of the row's data, not used.
    QString flag = QLatin1String("");
    QString country = QLatin1String("");

    void starClicked() override;

protected:
    TextLabel &latencyLabel() const override { return *pingLbl; }
    QString starText(const QString &name) const override;
    QString favoriteText() const override;
};

} // namespace velmora
