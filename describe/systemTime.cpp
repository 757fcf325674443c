#include "describe/systemTime.h"

#include "describe/sections.h"

namespace psi::describe {

std::optional<SystemTime> systemTimeOf(ByteView stt)
{
    constexpr u8 systemTimeTable = 0xCD;
    if (stt.empty() || stt[0] != systemTimeTable)
        return std::nullopt;
    const std::optional<SectionCrc> crc = crcOf(stt);
    if (!crc || !crc->right())
        return std::nullopt;
    const DescribedSection section = describeSection(stt, tableKindOf(systemTimeTable), Standard::atsc);
    if (!section.parsed)
        return std::nullopt;
    return SystemTime{static_cast<u32>(numberOf(section.fields, "system_time", 0)),
                      static_cast<u8>(numberOf(section.fields, "GPS_UTC_offset", 0))};
}

void learnFromStt(DescriptorContext &usual, ByteView stt)
{
    if (const std::optional<SystemTime> time = systemTimeOf(stt))
        usual.gpsUtcOffset = time->gpsUtcOffset;
}

} // namespace psi::describe
