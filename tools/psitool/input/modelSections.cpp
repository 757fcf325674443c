#include "input/modelSections.h"

#include "input/sectionTree.h"

#include "describe/fieldChange.h"

#include <algorithm>

namespace psitool {

using psi::demux::Section;

namespace {

/** table_id of event information sections, EN 300 468 5.1.3. */
constexpr u8 firstOfEvents = 0x4E;
constexpr u8 lastOfEvents = 0x6F;
constexpr u8 terrestrialVct = 0xC8;
constexpr u8 cableVct = 0xC9;

/** A VCT as the library takes it. @return the section as it is when its channels do not fit into it */
std::vector<u8> forLibrary(const std::vector<u8> &section, const std::map<u16, u16> &programs)
{
    const TableKind &kind = *tableKindOf(section[0]);
    std::optional<Fields> tree = sectionTree({section.data(), section.size()}, kind);
    if (!tree)
        return section;
    std::vector<Fields> &channels = findField(*tree, "channels")->items;
    const auto isElsewhere = [&](const Fields &channel) {
        return programs.count(static_cast<u16>(numberOf(channel, "program_number", 0))) == 0;
    };
    channels.erase(std::remove_if(channels.begin(), channels.end(), isElsewhere), channels.end());
    findField(*tree, "table_id")->number = terrestrialVct;
    const std::string kept = sectionBytes(*tree, kind);
    return {kept.begin(), kept.end()};
}

struct NitKind {
    u8 tableId;
    u32 psiType;
};
constexpr NitKind nitKinds[] = {{0x40, PSI_NIT_ACTUAL}, {0x41, PSI_NIT_OTHER}};

/** The library looks for a NIT on its usual PID, EN 300 468 5.1.3; the PAT may give another. @return whether it did */
bool moveNit(std::vector<Section> &sections, const NitKind &kind, u16 networkPid)
{
    const auto isOn = [&](const Section &section, u16 pid) {
        return section.bytes[0] == kind.tableId && section.pid == pid;
    };
    if (std::any_of(sections.begin(), sections.end(),
                    [&](const Section &section) { return isOn(section, psi::demux::kNitPid); }))
        return false;
    for (Section &section : sections)
        if (isOn(section, networkPid))
            section.pid = psi::demux::kNitPid;
    return true;
}

/** The model says where it came. */
void moveNitBack(tsInfo &model, const NitKind &kind, u16 networkPid)
{
    for (auto *one = model.sectionList; one != nullptr; one = static_cast<sectionData *>(one->link.next))
        if (one->psiType == kind.psiType)
            one->pid = networkPid;
}

} // namespace

bool isVct(const Section &section)
{
    return section.pid == psi::demux::kPsipPid && (section.bytes[0] == terrestrialVct || section.bytes[0] == cableVct);
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
    // Of events, nearly all of what many streams say, the model tells nothing.
    const auto isModelled = [](const psi::demux::CollectedTable &table) {
        return table.tableId < firstOfEvents || table.tableId > lastOfEvents;
    };
    return modelSections(collector.validSections(isModelled), collector.uses().programs());
}

std::unique_ptr<psi::demux::Host> modelHost(std::vector<Section> sections, u16 networkPid, const std::string &name,
                                            ScanStandard standard)
{
    std::vector<NitKind> moved;
    for (const NitKind &kind : nitKinds)
        if (moveNit(sections, kind, networkPid))
            moved.push_back(kind);
    std::unique_ptr<psi::demux::Host> host = psi::demux::Host::openSections(sections, name);
    const bool psip = std::any_of(sections.begin(), sections.end(),
                                  [](const Section &section) { return section.pid == psi::demux::kPsipPid; });
    searchTables(
        *host, standard, [psip] { return psip; }, allTables);
    for (const NitKind &kind : moved)
        moveNitBack(*getSchObjDataInfo(host->object()), kind, networkPid);
    return host;
}

} // namespace psitool
