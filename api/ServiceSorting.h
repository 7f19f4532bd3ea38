#pragma once

#include "api/Service.h"

namespace velmora {

/// Sorts ascending by name: canonically composed (NFC, Unicode Standard Annex #15) and compared by scalar
/// values, without locale or case folding. Equal names keep their order, so that a refresh moves no row.
void sortByName(QList<Service> &services);

} // namespace velmora
