#include "api/ExactInteger.h"

#include <algorithm>
#include <charconv>
#include <string>

namespace velmora {

namespace {

/// Far beyond what can matter: the digits of a number in memory are fewer.
constexpr long long exponentBound = 1'000'000'000'000;

long long exponentOf(std::string_view text)
{
    if (!text.empty() && text.front() == '+')
        text.remove_prefix(1);
    long long value = 0;
    const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (code == std::errc::result_out_of_range)
        return text.front() == '-' ? -exponentBound : exponentBound;
    return std::clamp(value, -exponentBound, exponentBound);
}

} // namespace

std::optional<qint64> exactInteger(std::string_view number)
{
    const bool negative = !number.empty() && number.front() == '-';
    if (negative)
        number.remove_prefix(1);
    long long exponent = 0;
    if (const size_t mark = number.find_first_of("eE"); mark != std::string_view::npos) {
        exponent = exponentOf(number.substr(mark + 1));
        number = number.substr(0, mark);
    }
    std::string digits(number);
    if (const size_t point = digits.find('.'); point != std::string::npos) {
        exponent -= static_cast<long long>(digits.size() - point - 1);
        digits.erase(point, 1);
    }
    digits.erase(0, digits.find_first_not_of('0'));
    if (digits.empty())
        return 0;
    const size_t significant = digits.find_last_not_of('0') + 1;
    exponent += static_cast<long long>(digits.size() - significant);
    digits.resize(significant);
    constexpr long long mostDigits = 19;
    if (exponent < 0 || static_cast<long long>(significant) + exponent > mostDigits)
        return std::nullopt;
    digits.append(static_cast<size_t>(exponent), '0');
    if (negative)
        digits.insert(0, 1, '-');
    qint64 value = 0;
    const auto [end, code] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (code != std::errc())
        return std::nullopt;
    return value;
}

} // namespace velmora
