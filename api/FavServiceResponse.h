#pragma once

#include "api/RecordType.h"

namespace velmora {

/// The ids of the account's favourite endpoints.
struct FavServiceResponse
{
    std::optional<QList<qint64>> favorites;

    bool operator==(const FavServiceResponse &) const = default;
};

template<>
inline constexpr auto recordFields<FavServiceResponse> =
    std::array{field<&FavServiceResponse::favorites>("favorites")};

} // namespace velmora
