#pragma once

#include <optional>
#include <string_view>

#include <QtGlobal>

namespace velmora {

/// The value of a JSON number (RFC 8259, section 6) when it is an integer of 64 bits, in whatever notation;
/// nothing when it has a fraction or does not fit. Exact: a binary floating-point number is never in between.
std::optional<qint64> exactInteger(std::string_view number);

} // namespace velmora
