#pragma once

#include "servers/ServerTV.h"

#include <QStringList>

namespace velmora {

/// A fixed list of countries, to look at only.
class RecentTV final : public ServerTV
{
    Q_OBJECT

public:
    const QStringList flags;

    explicit RecentTV(QWidget *parent = nullptr);

    int numberOfRowsInTableView() const override;
    TableCellView *tableViewViewForTableColumnRow(int row) override;
    bool tableViewShouldSelectRow(int row) const override;
};

} // namespace velmora
