#include "make/vctFields.h"

#include "describe/fieldChange.h"
#include "input/sectionTree.h"

#include <algorithm>
#include <map>

namespace psitool {

namespace {

constexpr u8 mgtTable = 0xC7;
constexpr u8 terrestrialVct = 0xC8;
constexpr u8 cableVct = 0xC9;

u16 programOf(const Fields &channel)
{
    return static_cast<u16>(numberOf(channel, "program_number", 0));
}

using Channels = std::map<u16, Fields>;

/** The channels that came, by their programs. */
Channels channelsByProgram(const std::vector<const StoredSection *> &stored, const TableKind &kind)
{
    Channels channels;
    for (const StoredSection *section : stored) {
        const ByteView bytes(section->bytes);
        const std::optional<Fields> tree = kind.holds(bytes[0]) ? sectionTree(bytes, kind) : std::nullopt;
        if (tree)
            for (const Fields &channel : findField(*tree, "channels")->items)
                channels.emplace(programOf(channel), channel);
    }
    return channels;
}

bool holds(const std::vector<const StoredSection *> &stored, u8 tableId)
{
    return std::any_of(stored.begin(), stored.end(),
                       [=](const StoredSection *section) { return static_cast<u8>(section->bytes[0]) == tableId; });
}

/** @return a channel as it came, with what the model says of it. A/65 6.3 */
Fields restored(const Fields &came, const Fields &made)
{
    Fields channel = came;
    for (const char *key : {"short_name", "major_channel_number", "minor_channel_number", "modulation_mode",
                            "channel_TSID", "service_type", "source_id", "descriptors"})
        *findField(channel, key) = *findField(made, key);
    return channel;
}

void restoreChannels(std::string &section, const Channels &channels, const TableKind &kind)
{
    std::optional<Fields> tree = sectionTree(ByteView(section), kind);
    if (!tree)
        return;
    findField(*tree, "table_id")->number = kind.tableId;
    for (Fields &channel : findField(*tree, "channels")->items) {
        const auto came = channels.find(programOf(channel));
        if (came != channels.end())
            channel = restored(came->second, channel);
    }
    section = sectionBytes(*tree, kind);
}

/** An MGT says which kind of VCT there is: table_type 0 terrestrial, 2 cable, both current. A/65 Table 6.3. */
void announceCable(std::string &section)
{
    const TableKind &kind = *tableKindOf(mgtTable);
    std::optional<Fields> tree = sectionTree(ByteView(section), kind);
    if (!tree)
        return;
    for (Fields &table : findField(*tree, "tables")->items)
        if (Field &type = *findField(table, "table_type"); type.number == 0)
            type.number = 2;
    section = sectionBytes(*tree, kind);
}

std::vector<std::string> leftOut(const Channels &channels, bool cableToo, const std::set<u16> &programs)
{
    std::vector<std::string> lines;
    if (cableToo)
        lines.emplace_back("VCT: the terrestrial one is edited, the cable one is left out");
    for (const auto &[program, channel] : channels)
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
    const bool terrestrial = holds(stored, terrestrialVct);
    const TableKind &kind = *tableKindOf(terrestrial ? terrestrialVct : cableVct);
    const Channels channels = channelsByProgram(stored, kind);
    for (MadeSection &section : sections)
        if (section.psiType == PSI_VCT)
            restoreChannels(section.bytes, channels, kind);
        else if (section.psiType == PSI_MGT && !terrestrial)
            announceCable(section.bytes);
    return leftOut(channels, terrestrial && holds(stored, cableVct), kept.programs());
}

} // namespace psitool
