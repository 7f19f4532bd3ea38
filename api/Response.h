#pragma once

#include "api/RecordType.h"

namespace velmora {

/// A plain success answer.
struct Response
{
    std::optional<bool> success;

    bool operator==(const Response &) const = default;
};

template<>
inline constexpr auto recordFields<Response> = std::array{field<&Response::success>("success")};

} // namespace velmora
