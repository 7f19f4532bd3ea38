#pragma once

#include "api/RecordType.h"

namespace velmora {

/// What the service says in place of a token.
struct Error
{
    std::optional<QString> message;

    bool operator==(const Error &) const = default;
};

template<>
inline constexpr auto recordFields<Error> = std::array{field<&Error::message>("message")};

} // namespace velmora
