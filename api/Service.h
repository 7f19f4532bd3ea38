#pragma once

#include "api/RecordType.h"

namespace velmora {

/// One VPN endpoint.
struct Service
{
    std::optional<qint64> id;
    QString name;
    /// Upper-case country code.
    QString country;
    /// Host name or address.
    std::optional<QString> address;
    /// Latency in milliseconds: minimum, maximum, average.
    std::optional<QList<double>> ping;

    bool operator==(const Service &) const = default;
};

template<>
inline constexpr auto recordFields<Service> = std::array{
    field<&Service::id>("id"),           field<&Service::name>("name"), field<&Service::country>("country"),
    field<&Service::address>("address"), field<&Service::ping>("ping"),
};

} // namespace velmora

// A list of them grows without touching each.
Q_DECLARE_TYPEINFO(velmora::Service, Q_RELOCATABLE_TYPE);
