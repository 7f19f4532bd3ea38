#include "servers/FavoriteTV.h"

#include "api/NetworkManager.h"
#include "api/ServiceManager.h"

namespace velmora {

using namespace Qt::StringLiterals;

FavoriteCellView::FavoriteCellView(QWidget *parent) : EndpointCellView(true, parent)
{
    pingLbl.connect(findChild<LatencyLabel *>());
}

void FavoriteCellView::starClicked()
{
    NetworkManager::forOneRequest().removeFavorite(starBtn->tag(), favoriteReply);
}

FavoriteTV::FavoriteTV(QWidget *parent)
    : EndpointTV(
          u"favorite"_s, u"favoriteCell"_s, FavoriteCellView::staticMetaObject,
          [](QWidget *viewport) { return new FavoriteCellView(viewport); }, parent)
{
}

int FavoriteTV::numberOfRowsInTableView() const
{
    return static_cast<int>(ServiceManager::shared().favService.size());
}

std::optional<qint64> FavoriteTV::idInRow(int row) const
{
    return ServiceManager::shared().favService[row];
}

} // namespace velmora
