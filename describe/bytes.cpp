#include "describe/bytes.h"

namespace psi::describe {

namespace {

/** 0..15, or -1 for no digit. */
int digitValue(char digit)
{
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    if (digit >= 'a' && digit <= 'f')
        return digit - 'a' + 10;
    return digit >= 'A' && digit <= 'F' ? digit - 'A' + 10 : -1;
}

} // namespace

std::string toHex(ByteView bytes)
{
    static constexpr char digits[] = "0123456789abcdef";
    std::string hex;
    hex.reserve(2 * bytes.size());
    for (const u8 byte : bytes) {
        hex += digits[byte >> 4];
        hex += digits[byte & 0xF];
    }
    return hex;
}

std::optional<std::string> fromHex(const std::string &hex)
{
    if (hex.size() % 2 != 0)
        return std::nullopt;
    std::string bytes;
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        const int high = digitValue(hex[i]);
        const int low = digitValue(hex[i + 1]);
        if (high < 0 || low < 0)
            return std::nullopt;
        bytes += static_cast<char>(high << 4 | low);
    }
    return bytes;
}

} // namespace psi::describe
