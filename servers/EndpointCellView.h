#pragma once

#include "api/Records.h"
#include "servers/CircleImageView.h"
#include "servers/LatencyLabel.h"
#include "ui/Buttons.h"
#include "ui/Labels.h"
#include "ui/Outlet.h"
#include "ui/TableCellView.h"

namespace velmora {

/// A row that shows one endpoint: flag, name, latency, and the star that adds or removes the favourite.
class EndpointCellView : public TableCellView
{
    Q_OBJECT

public:
    using TableCellView::TableCellView;

    Outlet<CircleImageView> flagImageView;
    Outlet<ElidedLabel> countryLabel;
    /// Its tag is the id of the row's endpoint, 0 when there is none.
    Outlet<IconButton> starBtn;

    /// A latency list with fewer than three values is fatal.
    void configure(const Service &service);

    QString spokenText() const override;
    QWidget *keyControl() const override { return starBtn.get(); }
    /// Does nothing: a row's layout is never pending when it is drawn, and drawing must not start one.
    void viewWillDraw() override;

public Q_SLOTS:
    virtual void starClicked() = 0;

protected:
    virtual TextLabel &latencyLabel() const = 0;
    /// What the star does to the endpoint of this name, for assistive tools.
    virtual QString starText(const QString &name) const = 0;
    virtual QString favoriteText() const = 0;

    /// The reply to a star: when it is a success, has the current home screen's lists fetched again.
    static void favoriteReply(const std::optional<Response> &response);
};

} // namespace velmora
