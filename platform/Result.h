#pragma once

#include "platform/PlatformError.h"

#include <utility>
#include <variant>

namespace velmora {

struct Success
{
};

/// The value of a platform call, or its error.
template<class T = Success>
class [[nodiscard]] Result
{
public:
    Result(T value) : content(std::move(value)) {}
    Result(PlatformError error) : content(std::move(error)) {}

    explicit operator bool() const { return std::holds_alternative<T>(content); }
    const T &operator*() const { return std::get<T>(content); }
    const T *operator->() const { return &std::get<T>(content); }
    const PlatformError &error() const { return std::get<PlatformError>(content); }

private:
    std::variant<T, PlatformError> content;
};

} // namespace velmora
