#pragma once

#include "servers/CircleImageView.h"
#include "ui/Labels.h"
#include "ui/Outlet.h"
#include "ui/TableView.h"

#include <QStringList>

namespace velmora {

/// A row that shows one country.
class RecentCellView final : public TableCellView
{
    Q_OBJECT

public:
    explicit RecentCellView(QWidget *parent);

    Outlet<CircleImageView> flagImageView;
    Outlet<ElidedLabel> countryLabel;
    /// The code and the name shown last.
    QString flag;
    QString country;

    void configure(const QString &code, const QString &name);

    QString spokenText() const override { return country; }
};

/// A fixed list of countries, to look at only.
class RecentTV final : public TableView
{
    Q_OBJECT

public:
    const QString cellNibName = QStringLiteral("recent");
    const QString cellIdentifierName = QStringLiteral("RecentCell");
    const QStringList flags{QStringLiteral("US"), QStringLiteral("GB"), QStringLiteral("CA"),
                            QStringLiteral("FR")};

    explicit RecentTV(QWidget *parent = nullptr);

    int numberOfRowsInTableView() const override { return static_cast<int>(flags.size()); }
    TableCellView *tableViewViewForTableColumnRow(int row) override;
    bool tableViewShouldSelectRow(int) const override { return false; }

protected:
    void drawRect(const QRect &rect) override;

private:
    /// Repeating it changes nothing, so drawing does not lead to another draw.
    void setUp();
};

} // namespace velmora
