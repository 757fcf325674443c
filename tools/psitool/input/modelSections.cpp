#include "input/modelSections.h"

#include "describe/bytes.h"
#include "output/described.h"

#include <algorithm>

namespace psitool {

namespace {

using psi::demux::Section;
using Bytes = std::vector<u8>;

constexpr u8 terrestrialVct = 0xC8;
constexpr u8 cableVct = 0xC9;
constexpr std::size_t channelCount = 9;   // behind the long header and protocol_version
constexpr std::size_t channelFields = 32; // in front of its descriptors
constexpr std::size_t programNumber = 24;
constexpr std::size_t crcBytes = 4;

} // namespace

bool isVct(const Section &section)
{
    return section.pid == psi::demux::kPsipPid && (section.bytes[0] == terrestrialVct || section.bytes[0] == cableVct);
}

namespace {

void append(std::string &out, ByteView bytes)
{
    out.append(bytes.begin(), bytes.end());
}

/** A VCT as the library takes it. A/65 6.3. @return the section as it is when its channels do not fit into it */
Bytes forLibrary(const Bytes &section, const std::map<u16, u16> &programs)
{
    const ByteView whole(section.data(), section.size());
    if (section.size() < channelCount + 1 + crcBytes)
        return section;
    std::string kept;
    append(kept, whole.part(0, channelCount + 1));
    kept[0] = static_cast<char>(terrestrialVct);
    kept[channelCount] = 0;
    ByteReader reader(whole.part(channelCount + 1, section.size() - channelCount - 1 - crcBytes));
    for (unsigned i = 0; i < section[channelCount]; ++i) {
        const ByteView fields = reader.bytes(channelFields);
        const u16 descriptors = fields.empty() ? u16{0} : psi::demux::wordAt(fields.data() + channelFields - 2) & 0x3FF;
        const ByteView loop = reader.bytes(descriptors);
        if (!reader.ok())
            return section;
        if (programs.count(psi::demux::wordAt(fields.data() + programNumber)) == 0)
            continue;
        append(kept, fields);
        append(kept, loop);
        ++kept[channelCount];
    }
    append(kept, reader.rest());
    kept.append(crcBytes, '\0');
    sealSection(kept);
    return {kept.begin(), kept.end()};
}

} // namespace

void sealSection(std::string &section)
{
    const std::size_t length = section.size() - 3;
    section[1] = static_cast<char>((section[1] & 0xF0) | static_cast<int>(length >> 8));
    section[2] = static_cast<char>(length & 0xFF);
    const std::size_t end = section.size() - crcBytes;
    const u32 crc = psiCalculateCrc(ByteView(section).data(), static_cast<u32>(end));
    for (std::size_t i = 0; i < crcBytes; ++i)
        section[end + i] = static_cast<char>(crc >> (24 - 8 * i));
}

std::vector<Section> modelSections(std::vector<Section> sections, const std::map<u16, u16> &programs)
{
    const auto isTerrestrial = [](const Section &section) {
        return isVct(section) && section.bytes[0] == terrestrialVct;
    };
    const bool terrestrial = std::any_of(sections.begin(), sections.end(), isTerrestrial);
    const auto isSpare = [&](const Section &section) {
        return terrestrial && isVct(section) && !isTerrestrial(section);
    };
    sections.erase(std::remove_if(sections.begin(), sections.end(), isSpare), sections.end());
    for (Section &section : sections)
        if (isVct(section))
            section.bytes = forLibrary(section.bytes, programs);
    return sections;
}

std::vector<Section> modelSections(const psi::demux::Collector &collector)
{
    return modelSections(collector.validSections(), collector.uses().programs());
}

std::unique_ptr<psi::demux::Host> modelHost(const std::vector<Section> &sections, const std::string &name,
                                            ScanStandard standard)
{
    std::unique_ptr<psi::demux::Host> host = psi::demux::Host::openSections(sections, name);
    const bool psip = std::any_of(sections.begin(), sections.end(),
                                  [](const Section &section) { return section.pid == psi::demux::kPsipPid; });
    searchTables(
        *host, standard, [psip] { return psip; }, allTables);
    return host;
}

} // namespace psitool
