#pragma once

#include "api/Records.h"

#include <QByteArray>

namespace velmora::bench {

/// The least that nlohmann's SAX parser can do to fill the endpoints' records: nothing is checked.
QList<Service> plainlyDecoded(const QByteArray &json);

} // namespace velmora::bench
