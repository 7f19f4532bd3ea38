#pragma once

#include "api/Records.h"

namespace velmora {

/// The endpoint lists that the service returned, in the forms that the screens need. The home screen's reply
/// handlers and the latency survey write them; the lists read them whenever they build a row.
class ServiceManager
{
public:
    /// The one store of this process: the lists outlive the home screens that fill them.
    static ServiceManager &shared();

    /// Every endpoint, sorted by name.
    QList<Service> allService;
    /// The endpoints of `allService` that are no favourites, in its order.
    QList<Service> countryService;
    /// The ids of the favourites, each once.
    QList<qint64> favService;
};

/// Sorts ascending by name: canonically composed (NFC, Unicode Standard Annex #15) and compared by scalar
/// values, without locale or case folding. Equal names keep their order, so that a refresh moves no row. The
/// cost grows with the length of the names, whatever stands in them.
void sortByName(QList<Service> &services);

} // namespace velmora
