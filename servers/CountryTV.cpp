#include "servers/CountryTV.h"

#include "api/ServiceManager.h"
#include "servers/CountryCellView.h"

namespace velmora {

using namespace Qt::StringLiterals;

CountryTV::CountryTV(QWidget *parent) : EndpointTV(u"country"_s, u"countryCell"_s, parent) {}

int CountryTV::numberOfRowsInTableView() const
{
    return static_cast<int>(ServiceManager::shared().countryService.size());
}

std::optional<std::optional<qint64>> CountryTV::idInRow(int row) const
{
    const QList<Service> &services = ServiceManager::shared().countryService;
    if (row >= services.size())
        return std::nullopt;
    return std::optional(services[row].id);
}

EndpointCellView *CountryTV::cellOf(TableCellView *view) const
{
    return qobject_cast<CountryCellView *>(view);
}

} // namespace velmora
