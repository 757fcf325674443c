#include "make/vctFields.h"

#include "demux/transportPacket.h"
#include "describe/bytes.h"
#include "input/modelSections.h"
#include "output/described.h"

#include <algorithm>
#include <map>

namespace psitool {

namespace {

using psi::demux::wordAt;

constexpr u8 terrestrialVct = 0xC8;
constexpr u8 cableVct = 0xC9;
constexpr std::size_t headerBytes = 9;
constexpr std::size_t crcBytes = 4;
constexpr std::size_t carrierFrequency = 18;
constexpr std::size_t programNumber = 24;
constexpr std::size_t flags = 26;
constexpr std::size_t descriptorsLength = 30;
constexpr std::size_t channelBytes = 32;

/** Where the channels of a section begin, as far as they are whole. */
std::vector<std::size_t> channelsOf(const std::string &section)
{
    std::vector<std::size_t> places;
    const u8 *bytes = ByteView(section).data();
    const std::size_t end = section.size() - crcBytes;
    std::size_t at = headerBytes + 1;
    for (unsigned left = bytes[headerBytes]; left > 0 && at + channelBytes <= end; --left) {
        places.push_back(at);
        at += channelBytes + (wordAt(bytes + at + descriptorsLength) & 0x3FFU);
    }
    return places;
}

/** The channels that came, by their programs. */
std::map<u16, const u8 *> channelsByProgram(const std::vector<const StoredSection *> &stored, u8 tableId)
{
    std::map<u16, const u8 *> channels;
    for (const StoredSection *section : stored) {
        const u8 *bytes = ByteView(section->bytes).data();
        if (bytes[0] == tableId)
            for (const std::size_t at : channelsOf(section->bytes))
                channels.emplace(wordAt(bytes + at + programNumber), bytes + at);
    }
    return channels;
}

bool holds(const std::vector<const StoredSection *> &stored, u8 tableId)
{
    return std::any_of(stored.begin(), stored.end(),
                       [=](const StoredSection *section) { return static_cast<u8>(section->bytes[0]) == tableId; });
}

void restoreChannels(std::string &section, const std::map<u16, const u8 *> &channels)
{
    constexpr u8 serviceTypeBits = 0x3F;
    for (const std::size_t at : channelsOf(section)) {
        const auto came = channels.find(wordAt(ByteView(section).data() + at + programNumber));
        if (came == channels.end())
            continue;
        const char *from = reinterpret_cast<const char *>(came->second);
        section.replace(at + carrierFrequency, 4, from + carrierFrequency, 4);
        section[at + flags] = from[flags];
        const auto merged = (from[flags + 1] & ~serviceTypeBits) | (section[at + flags + 1] & serviceTypeBits);
        section[at + flags + 1] = static_cast<char>(merged);
    }
}

/** An MGT says which kind of VCT there is: table_type 0 terrestrial, 2 cable, both current. A/65 Table 6.3. */
void announceCable(std::string &mgt)
{
    constexpr std::size_t firstTable = 11;
    constexpr std::size_t tableBytes = 11;
    const u8 *bytes = ByteView(mgt).data();
    std::size_t at = firstTable;
    for (unsigned left = wordAt(bytes + firstTable - 2); left > 0 && at + tableBytes + crcBytes <= mgt.size(); --left) {
        if (wordAt(bytes + at) == 0)
            mgt[at + 1] = 2;
        at += tableBytes + (wordAt(bytes + at + tableBytes - 2) & 0xFFFU);
    }
}

std::vector<std::string> leftOut(const std::vector<const StoredSection *> &stored, u8 tableId,
                                 const std::set<u16> &programs)
{
    std::vector<std::string> lines;
    if (tableId == terrestrialVct && holds(stored, cableVct))
        lines.push_back("VCT: the terrestrial one is edited, the cable one is left out");
    for (const auto &[program, channel] : channelsByProgram(stored, tableId))
        if (programs.count(program) == 0)
            lines.push_back("VCT: the channel of program " + std::to_string(program) +
                            ", which the PAT does not have, is left out");
    return lines;
}

} // namespace

std::vector<std::string> restoreVctFields(std::vector<MadeSection> &sections, const KeptTables &kept)
{
    const std::vector<const StoredSection *> stored = kept.stored(PSI_VCT);
    if (stored.empty() || kept.has(PSI_VCT))
        return {};
    const u8 tableId = holds(stored, terrestrialVct) ? terrestrialVct : cableVct;
    const std::map<u16, const u8 *> channels = channelsByProgram(stored, tableId);
    for (MadeSection &section : sections)
        if (section.psiType == PSI_VCT) {
            section.bytes[0] = static_cast<char>(tableId);
            restoreChannels(section.bytes, channels);
            sealSection(section.bytes);
        } else if (section.psiType == PSI_MGT && tableId == cableVct) {
            announceCable(section.bytes);
            sealSection(section.bytes);
        }
    return leftOut(stored, tableId, kept.programs());
}

} // namespace psitool
