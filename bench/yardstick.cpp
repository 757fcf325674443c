#include "yardstick.h"

#include "measure.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace psibench {
namespace {

using Table = std::array<std::uint32_t, 256>;

constexpr Table makeTable()
{
    Table table = {};
    for (std::uint32_t i = 0; i < table.size(); ++i) {
        std::uint32_t entry = i << 24;
        for (int bit = 0; bit < 8; ++bit)
            entry = (entry & 0x80000000U) != 0 ? entry << 1 ^ 0x04C11DB7U : entry << 1;
        table[i] = entry;
    }
    return table;
}

constexpr Table table = makeTable();

[[gnu::noinline]] std::uint32_t plainCrc(const std::uint8_t *bytes, std::size_t length)
{
    std::uint32_t crc = 0xFFFFFFFFU;
    for (std::size_t i = 0; i < length; ++i)
        crc = table[bytes[i] ^ crc >> 24] ^ crc << 8;
    return crc;
}

} // namespace

void yardstickWork(unsigned times)
{
    constexpr std::size_t length = 1024;
    static std::array<std::uint8_t, length> bytes = {};
    for (unsigned i = 0; i < times; ++i) {
        bytes[0] = static_cast<std::uint8_t>(plainCrc(bytes.data(), length));
        keep(bytes);
    }
}

} // namespace psibench
