#include "psiCrc.h"

#include "psiCrcTables.h"

namespace psi::core {

static_assert(PSI_CRC_TABLE == 1 || PSI_CRC_TABLE == 4 || PSI_CRC_TABLE == 8 || PSI_CRC_TABLE == 16,
              "PSI_CRC_TABLE is 1, 4, 8 or 16");

static constexpr CrcTables<PSI_CRC_TABLE> psi_crc32_table;

u32 crcPortable(u32 crc, const u8 *bytes, u32 len)
{
    return psi_crc32_table.sum(crc, bytes, len);
}

namespace {

#ifdef PSI_CRC_FOLD

enum CrcWay : u32 { unknownWay, portableWay, foldWay, wideFoldWay };

/** @brief Found out by the first caller; several at once find the same. */
u32 crcWay = unknownWay;

u32 bestCrcWay()
{
    if (!crcCanFold())
        return portableWay;
    return crcCanFoldWide() ? wideFoldWay : foldWay;
}

u32 sumOf(const u8 *bytes, u32 len);

/** @brief Out of the way of all later calls. */
__attribute__((noinline)) u32 firstSumOf(const u8 *bytes, u32 len)
{
    relaxedStore(crcWay, bestCrcWay());
    return sumOf(bytes, len);
}

u32 sumOf(const u8 *bytes, u32 len)
{
    if (len < crcFoldMin)
        return crcPortable(crcStart, bytes, len);
    switch (relaxedLoad(crcWay)) {
    case unknownWay:
        return firstSumOf(bytes, len);
    case foldWay:
        return crcFold(crcStart, bytes, len);
    case wideFoldWay:
        return len < crcFoldWideMin ? crcFold(crcStart, bytes, len) : crcFoldWide(crcStart, bytes, len);
    default:
        return crcPortable(crcStart, bytes, len);
    }
}

#else

u32 sumOf(const u8 *bytes, u32 len)
{
    return crcPortable(crcStart, bytes, len);
}

#endif

} // namespace

} // namespace psi::core

u32 psiCalculateCrc(const u8 *data, u32 len)
{
    return psi::core::sumOf(data, len);
}
