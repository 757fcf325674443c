#include "cli/numbers.h"

#include <charconv>

namespace psitool {

std::optional<std::uint32_t> numberFrom(const std::string &text)
{
    const bool hexadecimal = text.rfind("0x", 0) == 0 || text.rfind("0X", 0) == 0;
    const char *begin = text.data() + (hexadecimal ? 2 : 0);
    const char *end = text.data() + text.size();
    std::uint32_t value = 0;
    const auto [rest, error] = std::from_chars(begin, end, value, hexadecimal ? 16 : 10);
    if (error != std::errc() || rest != end)
        return std::nullopt;
    return value;
}

namespace {

/** Digits with a point among them, without a sign. */
std::optional<double> decimalFrom(const std::string &text)
{
    const std::size_t point = text.find('.');
    const bool digits = text.find_first_not_of("0123456789.") == std::string::npos;
    const bool onePoint = point == std::string::npos || text.find('.', point + 1) == std::string::npos;
    constexpr std::size_t enough = 15;
    if (!digits || !onePoint || text.size() > enough || text.find_first_of("0123456789") == std::string::npos)
        return std::nullopt;
    return std::stod(text);
}

} // namespace

std::optional<double> secondsFrom(const std::string &text)
{
    constexpr double most = 864000;
    const std::optional<double> value = decimalFrom(text);
    return value && *value > 0 && *value <= most ? value : std::nullopt;
}

std::optional<double> rateFrom(const std::string &text)
{
    constexpr double most = 10e9;
    const char unit = text.empty() ? '\0' : text.back();
    const double factor = unit == 'k' ? 1e3 : unit == 'M' ? 1e6 : 1;
    const std::optional<double> value = decimalFrom(factor > 1 ? text.substr(0, text.size() - 1) : text);
    return value && *value > 0 && *value * factor <= most ? std::optional(*value * factor) : std::nullopt;
}

} // namespace psitool
