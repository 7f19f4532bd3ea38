#pragma once

#include "servers/CircleImageView.h"
#include "ui/Labels.h"
#include "ui/Outlet.h"
#include "ui/TableCellView.h"

namespace velmora {

/// A row that shows one country.
class RecentCellView final : public TableCellView
{
    Q_OBJECT

public:
    using TableCellView::TableCellView;

    Outlet<CircleImageView> flagImageView;
    Outlet<ElidedLabel> countryLabel;
    /// The code and the name shown last.
    QString flag;
    QString country;

    void configure(const QString &code, const QString &name);

    QString spokenText() const override { return country; }
};

} // namespace velmora
