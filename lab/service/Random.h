#pragma once

#include <cstddef>
#include <string>

namespace velmora::lab {

/// Letters and digits that cannot be guessed, from the kernel's generator.
std::string randomText(std::size_t length);

} // namespace velmora::lab
