#include "demux/heldVersions.h"
#include "demux/transportPacket.h"

namespace psi::demux {

u32 subTableOf(const u8 *section, u16 length)
{
    constexpr u8 sdtActual = 0x42;
    constexpr u8 sdtOther = 0x46;
    const bool further = (section[0] == sdtActual || section[0] == sdtOther) && length > 10;
    return u32{tableIdExtension(section)} << 16 | (further ? wordAt(section + 8) : 0U);
}

bool HeldVersions::allows(const u8 *section, u16 length, bool next) const
{
    if (!isCurrent(section))
        return false;
    const auto held = versions.find(subTableOf(section, length));
    return held == versions.end() || held->second.number == versionOf(section) || (next && held->second.isWhole());
}

void HeldVersions::handOut(const u8 *section, u16 length)
{
    Version &version = versions[subTableOf(section, length)];
    if (version.handed.none() || version.number != versionOf(section))
        version = {versionOf(section), section[7], {}};
    version.handed.set(section[6]);
}

} // namespace psi::demux
