#include "servers/CellLayouts.h"

#include "servers/CountryCellView.h"
#include "servers/FavoriteCellView.h"
#include "servers/RecentCellView.h"
#include "ui_country.h"
#include "ui_favorite.h"
#include "ui_recent.h"

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

TableCellView *makeCountryCell(QWidget *parent)
{
    auto *view = new CountryCellView(parent);
    Ui::country ui;
    ui.setupUi(view);
    view->flagImageView.connect(ui.flagImageView);
    view->countryLabel.connect(ui.countryLabel);
    view->pingLabel.connect(ui.pingLabel);
    view->starBtn.connect(ui.starBtn);
    QObject::connect(ui.starBtn, &IconButton::clicked, view, &CountryCellView::starClicked);
    return view;
}

TableCellView *makeFavoriteCell(QWidget *parent)
{
    auto *view = new FavoriteCellView(parent);
    Ui::favorite ui;
    ui.setupUi(view);
    view->flagImageView.connect(ui.flagImageView);
    view->countryLabel.connect(ui.countryLabel);
    view->starBtn.connect(ui.starBtn);
    view->pingLbl.connect(ui.pingLbl);
    QObject::connect(ui.starBtn, &IconButton::clicked, view, &FavoriteCellView::starClicked);
    return view;
}

TableCellView *makeRecentCell(QWidget *parent)
{
    auto *view = new RecentCellView(parent);
    Ui::recent ui;
    ui.setupUi(view);
    view->flagImageView.connect(ui.flagImageView);
    view->countryLabel.connect(ui.countryLabel);
    return view;
}

} // namespace

TableView::CellLayout cellLayoutNamed(const QString &nibName)
{
    if (nibName == u"country"_s)
        return makeCountryCell;
    if (nibName == u"favorite"_s)
        return makeFavoriteCell;
    if (nibName == u"recent"_s)
        return makeRecentCell;
    return {};
}

} // namespace velmora
