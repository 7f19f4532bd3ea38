#include "servers/FavoriteCellView.h"

#include "api/NetworkManager.h"

namespace velmora {

using namespace Qt::StringLiterals;

void FavoriteCellView::starClicked()
{
    NetworkManager::forOneRequest().removeFavorite(starBtn->tag(), favoriteReply);
}

QString FavoriteCellView::starText(const QString &name) const
{
    return u"Remove %1 from favourites"_s.arg(name);
}

QString FavoriteCellView::favoriteText() const
{
    return u"favourite"_s;
}

} // namespace velmora
