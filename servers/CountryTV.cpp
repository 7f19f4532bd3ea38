#include "servers/CountryTV.h"

#include "api/NetworkManager.h"
#include "api/ServiceManager.h"

namespace velmora {

using namespace Qt::StringLiterals;

CountryCellView::CountryCellView(QWidget *parent) : EndpointCellView(false, parent)
{
    pingLabel.connect(findChild<LatencyLabel *>());
}

void CountryCellView::starClicked()
{
    NetworkManager::forOneRequest().addFavorite(starBtn->tag(), favoriteReply);
}

CountryTV::CountryTV(QWidget *parent)
    : EndpointTV(
          u"country"_s, u"countryCell"_s, CountryCellView::staticMetaObject,
          [](QWidget *viewport) { return new CountryCellView(viewport); }, parent)
{
}

int CountryTV::numberOfRowsInTableView() const
{
    return static_cast<int>(ServiceManager::shared().countryService.size());
}

std::optional<qint64> CountryTV::idInRow(int row) const
{
    return ServiceManager::shared().countryService[row].id;
}

} // namespace velmora
