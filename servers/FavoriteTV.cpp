#include "servers/FavoriteTV.h"

#include "api/ServiceManager.h"
#include "servers/FavoriteCellView.h"

namespace velmora {

using namespace Qt::StringLiterals;

FavoriteTV::FavoriteTV(QWidget *parent) : EndpointTV(u"favorite"_s, u"favoriteCell"_s, parent) {}

int FavoriteTV::numberOfRowsInTableView() const
{
    return static_cast<int>(ServiceManager::shared().favService.size());
}

std::optional<std::optional<qint64>> FavoriteTV::idInRow(int row) const
{
    const QList<qint64> &favorites = ServiceManager::shared().favService;
    if (row >= favorites.size())
        return std::nullopt;
    return std::optional(favorites[row]);
}

EndpointCellView *FavoriteTV::cellOf(TableCellView *view) const
{
    return qobject_cast<FavoriteCellView *>(view);
}

} // namespace velmora
