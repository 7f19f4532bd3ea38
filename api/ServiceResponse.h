#pragma once

#include "api/Service.h"

namespace velmora {

/// The endpoint list. The field and its key differ in name.
struct ServiceResponse
{
    std::optional<QList<Service>> services;

    bool operator==(const ServiceResponse &) const = default;
};

template<>
inline constexpr auto recordFields<ServiceResponse> =
    std::array{field<&ServiceResponse::services>("endpoints")};

} // namespace velmora
