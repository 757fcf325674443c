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

} // namespace psitool
