#include "describe/modelView.h"
#include "output/described.h"
#include "tables/tables.h"

#include <algorithm>
#include <map>
#include <tuple>

namespace psitool {

namespace {

TableSet wantedTables(const TablesOptions &options)
{
    if (options.types.empty())
        return allTables;
    TableSet set = 0;
    for (const TableKind &kind : tableKinds()) {
        TableSection section;
        section.kind = &kind;
        TablesOptions types;
        types.types = options.types;
        if (isWanted(section, types))
            set |= 1U << kind.psiType;
    }
    return set;
}

bool isOfStandard(const TableKind &kind, ScanStandard asked)
{
    const bool emergency = kind.psiType >= PSI_EBIT && kind.psiType <= PSI_EBCCT;
    switch (asked) {
    case ScanStandard::dvb:
        return kind.standard != Standard::atsc;
    case ScanStandard::atsc:
        return kind.standard != Standard::dvb && !emergency;
    default:
        return true;
    }
}

bool isOnPid(u16 pid, const TablesOptions &options)
{
    return std::find(options.pids.begin(), options.pids.end(), pid) != options.pids.end();
}

/**
 * A section that the searches did not take: of another version, of a program that the PAT does not name, of a table
 * that the library does not acquire. On a PID that was asked for, any section is worth a look.
 */
bool isCandidate(const psi::demux::Section &section, const tsInfo &model, const TablesOptions &options)
{
    const TableKind *kind = tableKindOf(section.bytes[0]);
    if (kind && !isOfStandard(*kind, options.standard))
        return false;
    if (!options.pids.empty())
        return true;
    if (!kind)
        return false;
    const bool network = kind->psiType == PSI_NIT_ACTUAL || kind->psiType == PSI_NIT_OTHER;
    return kind->psiType == PSI_PMT || section.pid == kind->pid ||
           (network && model.netFlag && section.pid == model.netPid);
}

TableSection sectionOn(u16 pid, std::vector<u8> bytes)
{
    TableSection section;
    section.kind = bytes.empty() ? nullptr : tableKindOf(bytes[0]);
    section.pid = pid;
    section.bytes = std::move(bytes);
    return section;
}

std::vector<TableSection> acquiredSections(const tsInfo &model)
{
    std::vector<TableSection> sections;
    for (const sectionData &stored : nodes(model.sectionList)) {
        sections.push_back(sectionOn(stored.pid, {stored.buf, stored.buf + stored.len}));
        sections.back().acquired = true;
    }
    return sections;
}

/** What the recording knows besides: how often the acquired sections are in it, and those not acquired. */
void addRecorded(std::vector<TableSection> &sections, const Acquisition &acquisition, const TablesOptions &options)
{
    std::map<std::pair<u16, std::vector<u8>>, std::size_t> places;
    for (const TableSection &section : sections)
        places.emplace(std::make_pair(*section.pid, section.bytes), places.size());
    for (psi::demux::Section &recorded : acquisition.host().sections()) {
        const SectionSightings seen{recorded.count, recorded.firstPacket, recorded.lastPacket};
        const auto found = places.find({recorded.pid, recorded.bytes});
        if (found != places.end()) {
            sections[found->second].seen = seen;
        } else if (isCandidate(recorded, acquisition.model(), options)) {
            sections.push_back(sectionOn(recorded.pid, std::move(recorded.bytes)));
            sections.back().seen = seen;
        }
    }
}

void comparePmtWithPat(TableSection &section, const tsInfo &model)
{
    const bool pat = (model.tableMask >> PSI_PAT & 1) != 0;
    if (!pat || !section.kind || section.kind->psiType != PSI_PMT)
        return;
    for (const progInfo &program : nodes(model.progList)) {
        if (program.progNo != section.idExtension())
            continue;
        if (program.pmtPid != *section.pid)
            section.notes.push_back("the PAT puts this PMT on PID " + hexDec(program.pmtPid));
        return;
    }
    section.notes.emplace_back("the PAT has no such program");
}

/** What the sections of a table are told apart by. ISO/IEC 13818-1 2.4.4.11. */
auto identityOf(const TableSection &section)
{
    const std::size_t order = section.kind ? static_cast<std::size_t>(section.kind - tableKinds().data())
                                           : tableKinds().size() + section.bytes[0];
    constexpr u8 versionBits = 0x3F; // and current_next_indicator
    return std::make_tuple(order, section.idExtension(), *section.pid, section.bytes[5] & versionBits,
                           section.bytes[6]);
}

bool comesBefore(const TableSection &a, const TableSection &b)
{
    const auto first = [](const TableSection &section) { return section.seen ? section.seen->firstPacket : 0; };
    return std::make_tuple(identityOf(a), first(a)) < std::make_tuple(identityOf(b), first(b));
}

/** Two sections of one identity are two versions of it; but the STT's change with the time (A/65 6.1), and those of an
 * SDT of other streams may be told apart by original_network_id only. */
bool hasVersions(const TableSection &section)
{
    return section.kind && section.kind->psiType != PSI_STT && section.kind->psiType != PSI_SDT_OTHER;
}

/** A receiver that has the first of two sections of one version does not look at the second. */
void findUnannouncedChanges(std::vector<TableSection> &sections)
{
    for (std::size_t i = 1; i < sections.size(); ++i)
        if (hasVersions(sections[i]) && identityOf(sections[i]) == identityOf(sections[i - 1]))
            sections[i].notes.emplace_back("differs from the one above, but version_number is the same");
}

bool contains(const std::vector<std::string> &words, const std::string &word)
{
    return std::find(words.begin(), words.end(), word) != words.end();
}

} // namespace

bool isWanted(const TableSection &section, const TablesOptions &options)
{
    if (options.id && section.idExtension() != *options.id)
        return false;
    if (options.types.empty())
        return true;
    return section.kind &&
           (contains(options.types, section.kind->family) || contains(options.types, section.kind->option));
}

Standard standardFor(ScanStandard asked, Standard found)
{
    if (asked == ScanStandard::automatic)
        return found;
    return asked == ScanStandard::dvb ? Standard::dvb : Standard::atsc;
}

std::vector<TableSection> sectionsOf(Acquisition &acquisition, const TablesOptions &options)
{
    acquisition.search(options.standard, wantedTables(options));
    acquisition.readToEnd();
    std::vector<TableSection> sections = acquiredSections(acquisition.model());
    addRecorded(sections, acquisition, options);
    const auto isOut = [&](const TableSection &section) {
        return !isWanted(section, options) || (!options.pids.empty() && !isOnPid(*section.pid, options));
    };
    sections.erase(std::remove_if(sections.begin(), sections.end(), isOut), sections.end());
    for (TableSection &section : sections)
        comparePmtWithPat(section, acquisition.model());
    std::stable_sort(sections.begin(), sections.end(), comesBefore);
    findUnannouncedChanges(sections);
    return sections;
}

} // namespace psitool
