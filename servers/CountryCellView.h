#pragma once

#include "servers/EndpointCellView.h"

namespace velmora {

/// A row of the endpoints that are no favourites; its star makes it one.
class CountryCellView final : public EndpointCellView
{
    Q_OBJECT

public:
    using EndpointCellView::EndpointCellView;

    Outlet<LatencyLabel> pingLabel;

    void starClicked() override;

protected:
    TextLabel &latencyLabel() const override { return *pingLabel; }
    QString starText(const QString &name) const override;
    QString favoriteText() const override;
};

} // namespace velmora
