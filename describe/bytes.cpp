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

void appendHex(std::string &text, ByteView bytes)
{
    static constexpr char digits[] = "0123456789abcdef";
    const std::size_t start = text.size();
    text.resize(start + 2 * bytes.size());
    char *at = text.data() + start;
    for (const u8 byte : bytes) {
        *at++ = digits[byte >> 4];
        *at++ = digits[byte & 0xF];
    }
}

std::string toHex(ByteView bytes)
{
    std::string hex;
    appendHex(hex, bytes);
    return hex;
}

std::optional<std::string> fromHex(std::string_view hex)
{
    if (hex.size() % 2 != 0)
        return std::nullopt;
    std::string bytes;
    bytes.reserve(hex.size() / 2);
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
