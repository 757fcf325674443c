#include "describe/scsu.h"

namespace psi::describe {

namespace {

constexpr u32 replacement = 0xFFFD;
constexpr u32 windowSize = 0x80;
constexpr u32 staticWindows[8] = {0x0000, 0x0080, 0x0100, 0x0300, 0x2000, 0x2080, 0x2100, 0x3000};

/** What a byte behind a tag that defines a window stands for; 0: nothing. */
u32 windowOffset(u8 byte)
{
    constexpr u32 special[] = {0x00C0, 0x0250, 0x0370, 0x0530, 0x3040, 0x30A0, 0xFF60};
    constexpr u8 firstSpecial = 0xF9;
    constexpr u8 firstBehindTheGap = 0x68;
    constexpr u8 lastBehindTheGap = 0xA7;
    constexpr u32 gap = 0xAC00;
    if (byte >= firstSpecial)
        return special[byte - firstSpecial];
    if (byte > lastBehindTheGap)
        return 0;
    return byte * windowSize + (byte >= firstBehindTheGap ? gap : 0);
}

class ScsuReader {
public:
    explicit ScsuReader(ByteView text) : bytes_(text) {}

    std::string read()
    {
        while (bytes_.more())
            unicode_ ? readUnicode(bytes_.u8Field()) : readByte(bytes_.u8Field());
        return std::move(units_);
    }

private:
    void put(u32 character)
    {
        constexpr u32 firstPair = 0x10000;
        if (character < firstPair)
            return unit(character);
        unit(0xD800 + ((character - firstPair) >> 10));
        unit(0xDC00 + ((character - firstPair) & 0x3FF));
    }

    void unit(u32 value)
    {
        units_ += static_cast<char>(value >> 8 & 0xFF);
        units_ += static_cast<char>(value & 0xFF);
    }

    /** A character of two bytes that stand as they are. */
    void quoteUnicode(u8 high) { put(bytes_.more() ? static_cast<u32>(high << 8 | bytes_.u8Field()) : replacement); }

    void quote(unsigned window)
    {
        if (!bytes_.more())
            return put(replacement);
        const u8 byte = bytes_.u8Field();
        put(byte < windowSize ? staticWindows[window] + byte : windows_[window] + byte - windowSize);
    }

    void change(unsigned window)
    {
        window_ = window;
        unicode_ = false;
    }

    void define(unsigned window)
    {
        const u32 offset = bytes_.more() ? windowOffset(bytes_.u8Field()) : 0;
        if (offset == 0)
            return put(replacement);
        windows_[window] = offset;
        change(window);
    }

    void defineExtended()
    {
        const u16 both = bytes_.u16Field();
        windows_[both >> 13] = 0x10000 + (both & 0x1FFFU) * windowSize;
        change(both >> 13);
    }

    void readByte(u8 byte)
    {
        if (byte >= windowSize)
            return put(windows_[window_] + byte - windowSize);
        if (byte >= 0x20 || byte == 0x00 || byte == 0x09 || byte == 0x0A || byte == 0x0D)
            return put(byte);
        if (byte <= 0x08)
            return quote(byte - 1U);
        if (byte >= 0x18)
            return define(byte - 0x18U);
        if (byte >= 0x10)
            return change(byte - 0x10U);
        switch (byte) {
        case 0x0B:
            return defineExtended();
        case 0x0E:
            return quoteUnicode(bytes_.more() ? bytes_.u8Field() : u8{0});
        case 0x0F:
            unicode_ = true;
            return;
        default: // 0x0C is reserved
            return put(replacement);
        }
    }

    void readUnicode(u8 byte)
    {
        if (byte < 0xE0 || byte > 0xF2)
            return quoteUnicode(byte);
        if (byte < 0xE8)
            return change(byte - 0xE0U);
        if (byte < 0xF0)
            return define(byte - 0xE8U);
        if (byte == 0xF0)
            return quoteUnicode(bytes_.more() ? bytes_.u8Field() : u8{0});
        return byte == 0xF1 ? defineExtended() : put(replacement);
    }

    ByteReader bytes_;
    u32 windows_[8] = {0x0080, 0x00C0, 0x0400, 0x0600, 0x0900, 0x3040, 0x30A0, 0xFF00};
    unsigned window_ = 0;
    bool unicode_ = false;
    std::string units_;
};

} // namespace

std::string fromScsu(ByteView text)
{
    return ScsuReader(text).read();
}

} // namespace psi::describe
