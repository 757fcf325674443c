#include "support/soundHeaders.h"

namespace psitest {

namespace {

Bytes filled(Bytes header, std::size_t size)
{
    header.resize(size, 0);
    return header;
}

std::string rateFactor(unsigned rate)
{
    return rate <= 4 || (rate >= 7 && rate <= 9) ? "0" : "";
}

std::string contentsHead(unsigned version, unsigned rate)
{
    return binary(version, 2) + binary(1, 10) + "0 1" + binary(rate, 4) + "1 1 0 ";
}

const std::string metadata = "00 000 0 01 00" + std::string(8, '1'); // emdf_info()

} // namespace

Bytes bitsOf(const std::string &digits)
{
    Bytes bytes;
    unsigned count = 0;
    for (const char digit : digits) {
        if (digit != '0' && digit != '1')
            continue;
        if (count % 8 == 0)
            bytes.push_back(0);
        if (digit == '1')
            bytes.back() = static_cast<u8>(bytes.back() | 0x80U >> count % 8);
        ++count;
    }
    return bytes;
}

std::string binary(u32 value, unsigned digits)
{
    std::string text;
    while (digits-- > 0)
        text += (value >> digits & 1U) != 0 ? '1' : '0';
    return text;
}

Bytes enhancedFrame(const EnhancedFrame &frame)
{
    const std::string map = frame.map < 0 ? "0" : "1" + binary(static_cast<u32>(frame.map), 16);
    return filled(bitsOf(binary(0x0B77, 16) + binary(frame.type, 2) + binary(frame.substream, 3) +
                         binary(frame.bytes / 2 - 1, 11) + "00 11" + binary(frame.mode, 3) + (frame.low ? "1" : "0") +
                         binary(16, 5) + "11111 0" + (frame.mode == 0 ? "11111 1 00000000" : "") +
                         (frame.type == 1 ? map : "")),
                  frame.bytes);
}

Bytes dtsFrame(const DtsFrame &frame)
{
    const u32 extension = frame.extension < 0 ? 0 : static_cast<u32>(frame.extension);
    return filled(bitsOf(binary(0x7FFE8001, 32) + (frame.normal ? "1" : "0") + "11111 0" + binary(15, 7) +
                         binary(frame.bytes - 1, 14) + binary(frame.arrangement, 6) + binary(frame.sampling, 4) +
                         binary(15, 5) + "0 0 0 0 0" + binary(extension, 3) + (frame.extension < 0 ? "0" : "1") + "0" +
                         binary(frame.low, 2)),
                  frame.bytes);
}

Bytes dtsExtension(unsigned bytes, bool isLong)
{
    return filled(bitsOf(binary(0x64582025, 32) + "00000000 00" + (isLong ? "1" : "0") + binary(31, isLong ? 12 : 8) +
                         binary(bytes - 1, isLong ? 20 : 16)),
                  bytes);
}

Bytes ac4Frame(const std::string &contents, std::size_t bytes, bool crc)
{
    const std::size_t around = crc ? 6 : 4;
    const auto size = static_cast<u32>(bytes - around);
    return filled(bitsOf(binary(crc ? 0xAC41 : 0xAC40, 16) + binary(size, 16) + contents), bytes);
}

std::string ac4Contents(const std::string &mode, unsigned rate)
{
    return contentsHead(0, rate) + "1 0 000 0" + rateFactor(rate) + metadata + mode;
}

std::string ac4GroupContents(const std::string &mode, unsigned rate)
{
    const std::string fraction = (rate >= 5 && rate <= 9) || (rate >= 10 && rate <= 12) ? "0" : "";
    return contentsHead(2, rate) + "1" + binary(0x1234, 16) + "0" + "1 10 000 1 01 0" + rateFactor(rate) + fraction +
           metadata + "0 000 0 0 0 0 00" + "1 0 1 1" + mode;
}

Bytes opusUnit(std::size_t payload, unsigned flags)
{
    Bytes unit = bitsOf(binary(0x3FF, 11) + binary(flags, 3) + "00");
    for (std::size_t left = payload;; left -= 255) {
        unit.push_back(static_cast<u8>(left < 255 ? left : 255));
        if (left < 255)
            break;
    }
    for (const unsigned trim : {4U, 2U})
        if ((flags & trim) != 0)
            unit = unit + Bytes{0, 100};
    if ((flags & 1U) != 0)
        unit = unit + Bytes{3, 1, 2, 3};
    unit.insert(unit.end(), payload, 0x11);
    return unit;
}

} // namespace psitest
