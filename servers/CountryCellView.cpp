#include "servers/CountryCellView.h"

#include "api/NetworkManager.h"

namespace velmora {

using namespace Qt::StringLiterals;

void CountryCellView::starClicked()
{
    NetworkManager::forOneRequest().addFavorite(starBtn->tag(), favoriteReply);
}

QString CountryCellView::starText(const QString &name) const
{
    return u"Add %1 to favourites"_s.arg(name);
}

QString CountryCellView::favoriteText() const
{
    return u"not a favourite"_s;
}

} // namespace velmora
