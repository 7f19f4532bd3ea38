#pragma once

#include "api/Error.h"

namespace velmora {

/// The reply to a sign-in; a present token is a success.
struct Token
{
    std::optional<QString> token;
    std::optional<Error> error;

    bool operator==(const Token &) const = default;
};

template<>
inline constexpr auto recordFields<Token> =
    std::array{field<&Token::token>("token"), field<&Token::error>("error")};

} // namespace velmora
