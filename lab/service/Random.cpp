#include "Random.h"

#include <random>
#include <string_view>

namespace velmora::lab {

std::string randomText(std::size_t length)
{
    static constexpr std::string_view letters =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    std::random_device device;
    std::uniform_int_distribution<std::size_t> pick(0, letters.size() - 1);
    std::string text;
    while (text.size() < length)
        text += letters[pick(device)];
    return text;
}

} // namespace velmora::lab
