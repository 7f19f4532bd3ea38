#pragma once

#include "api/Records.h"
#include "servers/CircleImageView.h"
#include "ui/Buttons.h"
#include "ui/Labels.h"
#include "ui/Outlet.h"
#include "ui/TableView.h"

#include <optional>
#include <unordered_map>

namespace velmora {

/// A number with its unit, flush with the trailing edge. Every digit takes the same width, so that the digits
/// of a column stand under each other and nothing moves when a value changes.
class LatencyLabel final : public TextLabel
{
    Q_OBJECT

public:
    using TextLabel::TextLabel;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    int widthOf(QChar character) const;
};

/// A row that shows one endpoint: flag, name, latency, and the star that adds or removes the favourite.
class EndpointCellView : public TableCellView
{
    Q_OBJECT

public:
    Outlet<CircleImageView> flagImageView;
    Outlet<ElidedLabel> countryLabel;
    /// Its tag is the id of the row's endpoint, 0 when there is none.
    Outlet<IconButton> starBtn;

    /// A latency list with fewer than three values is fatal.
    void configure(const Service &service);

    QString spokenText() const override;
    QWidget *keyControl() const override { return starBtn.get(); }
    /// Does nothing: a row's layout is never pending when it is drawn, and drawing must not start one.
    void viewWillDraw() override {}
    virtual void starClicked() = 0;

protected:
    EndpointCellView(bool isFavorite, QWidget *parent);

    virtual LatencyLabel &latencyLabel() const = 0;
    /// The reply to a star: after a success the lists are fetched again, for the current home screen.
    static void favoriteReply(const std::optional<Response> &response);

private:
    const bool favorite;
};

/// A list of endpoints from the store. Tells its owner which one is selected.
class EndpointTV : public TableView
{
    Q_OBJECT

public:
    const QString cellNibName;
    const QString cellIdentifierName;
    /// Called with the id of the endpoint that is selected, -1 when none is, and this list. Runs within
    /// whatever changes the selection, also when that is code. Set by the owner.
    std::function<void(qint64 endpointId, TableView *list)> selectedEndpointDelegate;

    /// Reads the whole store: the cost grows with its length.
    void reloadData() override;
    /// Reloads as well, where at most latencies have changed: the cost follows the rows on screen.
    void reloadLatencies() { TableView::reloadData(); }
    /// True where the selected row shows the endpoint.
    bool isEndpointSelected(qint64 endpointId) const;
    /// Selects the row that shows the endpoint, or none where none does, and reports neither. Returns whether
    /// a row is selected.
    bool selectEndpointSilently(qint64 endpointId);

    TableCellView *tableViewViewForTableColumnRow(int row) override;
    void tableViewSelectionDidChange() override;
    QString searchTextOfRow(int row) const override;

protected:
    /// `cellKind` is the class of the rows that `layout` makes.
    EndpointTV(const QString &nibName, const QString &identifierName, const QMetaObject &cellKind,
               CellLayout layout, QWidget *parent);

    void drawRect(const QRect &rect) override;
    /// The id that the store lists in this row, which exists.
    virtual std::optional<qint64> idInRow(int row) const = 0;

private:
    /// Repeating it changes nothing, so drawing does not lead to another draw.
    void setUp();
    /// The first record of all endpoints that has the id in this row, or an empty one.
    Service recordOfRow(int row) const;
    /// The tag of the row's star.
    qint64 tagOfRow(int row) const { return recordOfRow(row).id.value_or(0); }

    const QMetaObject &kind;
    const CellLayout makeCell;
    /// The place of the first record with each id in the store's list of all endpoints, at the last reload.
    std::unordered_map<std::optional<qint64>, qsizetype> index;
};

} // namespace velmora
