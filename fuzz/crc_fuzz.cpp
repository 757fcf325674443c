// The section CRC by all ways. Input: register, alignment, place to cut, then bytes.
#include "fuzzTarget.h"

#include "psiCrcTables.h"

namespace psifuzz {

bool (*const startLibrary)() = initialisePsi;

namespace {

using Sum = u32 (*)(u32 crc, const u8 *bytes, u32 len);

template <u32 slices> u32 sumByTables(u32 crc, const u8 *bytes, u32 len)
{
    static constexpr psi::core::CrcTables<slices> tables;
    return tables.sum(crc, bytes, len);
}

/** @brief Some bytes in a block of exactly their size, that far from an even address. */
class Placed {
public:
    Placed(const Bytes &bytes, std::size_t offset) : block_(offset + bytes.size()), offset_(offset)
    {
        std::copy(bytes.begin(), bytes.end(), block_.begin() + static_cast<std::ptrdiff_t>(offset));
    }
    const u8 *data() const { return block_.data() + offset_; }

private:
    Bytes block_;
    std::size_t offset_;
};

} // namespace

void fuzzOne(Input input)
{
    const u32 start = input.doubleWord();
    const std::size_t offset = input.byte() & 15;
    const u16 cutAt = input.word();
    const Bytes bytes = input.bytes(5000);
    const Placed placed(bytes, offset);
    const u32 len = static_cast<u32>(bytes.size());
    const u32 cut = len == 0 ? 0 : cutAt % (len + 1);

    const u32 right = sumByTables<1>(start, placed.data(), len);
    const auto expectRight = [&](Sum sum, u32 shortest) {
        if (len >= shortest) {
            EXPECT_EQ(right, sum(start, placed.data(), len));
        }
        if (cut >= shortest && len - cut >= shortest) {
            EXPECT_EQ(right, sum(sum(start, placed.data(), cut), placed.data() + cut, len - cut)) << "in two parts";
        }
    };
    for (const Sum sum : {psi::core::crcPortable, sumByTables<1>, sumByTables<4>, sumByTables<8>, sumByTables<16>})
        expectRight(sum, 0);
#ifdef PSI_CRC_FOLD
    if (psi::core::crcCanFold())
        expectRight(psi::core::crcFold, psi::core::crcFoldMin);
    if (psi::core::crcCanFoldWide())
        expectRight(psi::core::crcFoldWide, psi::core::crcFoldWideMin);
#endif
    EXPECT_EQ(sumByTables<1>(0xFFFFFFFF, placed.data(), len), psiCalculateCrc(placed.data(), len));
}

} // namespace psifuzz
