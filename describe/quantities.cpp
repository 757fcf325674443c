#include "describe/quantities.h"

#include <algorithm>

namespace psi::describe {

std::string grouped(std::string number)
{
    for (std::size_t place = std::min(number.find_first_not_of("0123456789"), number.size()); place > 3; place -= 3)
        number.insert(place - 3, ",");
    return number;
}

std::string grouped(std::uint64_t value)
{
    return grouped(std::to_string(value));
}

std::string kbitText(std::uint64_t bitsPerSecond)
{
    const std::uint64_t tenth = bitsPerSecond / 100 % 10;
    return grouped(bitsPerSecond / 1000) + (tenth ? "." + std::to_string(tenth) : "") + " kbit/s";
}

} // namespace psi::describe
