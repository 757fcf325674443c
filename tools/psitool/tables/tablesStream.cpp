#include "describe/modelView.h"
#include "output/described.h"
#include "tables/tables.h"

#include <algorithm>
#include <set>
#include <tuple>

namespace psitool {

namespace {

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

/** Whether a table is of those that are shown when nobody asks for its PID: all but messages to the receivers' cards.
 */
bool isOfInterest(const psi::demux::CollectedTable &table, const psi::demux::PidUses &uses)
{
    const TableKind *kind = kindOf(table);
    const std::vector<psi::demux::PidUse> &said = uses.of(table.pid);
    const bool messages = std::all_of(said.begin(), said.end(), [](const psi::demux::PidUse &use) {
        return use.role == psi::demux::PidRole::ecm || use.role == psi::demux::PidRole::emm;
    });
    constexpr u8 firstCaMessage = 0x80; // ETR 289
    constexpr u8 lastCaMessage = 0x8F;
    const bool message = said.empty() ? table.tableId >= firstCaMessage && table.tableId <= lastCaMessage : messages;
    return kind || !message;
}

/** What of it is in the library's model. */
std::set<std::pair<u16, std::vector<u8>>> acquiredSections(const tsInfo &model)
{
    std::set<std::pair<u16, std::vector<u8>>> acquired;
    for (const sectionData &stored : nodes(model.sectionList))
        acquired.insert({stored.pid, {stored.buf, stored.buf + stored.len}});
    return acquired;
}

std::vector<TableSection> collectedSections(Collection &collection, const TablesOptions &options)
{
    std::vector<TableSection> sections;
    const auto acquired = acquiredSections(collection.model());
    const psi::demux::Collector &collector = collection.collector();
    for (const psi::demux::CollectedTable *table : collector.tables()) {
        const TableKind *kind = kindOf(*table);
        const bool asked = !options.pids.empty() || isOfInterest(*table, collector.uses());
        if (!asked || (kind && !isOfStandard(*kind, options.standard)))
            continue;
        for (const psi::demux::TableVersion &version : table->versions)
            for (const psi::demux::CollectedSection &one : version.sections) {
                TableSection section;
                section.kind = kind;
                section.pid = table->pid;
                section.bytes = one.bytes;
                section.acquired = acquired.count({table->pid, one.bytes}) != 0;
                section.seen = SectionSightings{one.count, collector.resolved(one.first), collector.resolved(one.last)};
                sections.push_back(std::move(section));
            }
    }
    return sections;
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
    const bool longForm = section.bytes.size() > 7 && psi::demux::isLongForm(section.bytes.data());
    const u16 id = longForm ? section.idExtension() : u16{0};
    const int version = longForm ? section.bytes[5] & versionBits : 0;
    return std::make_tuple(order, id, *section.pid, version, longForm ? section.bytes[6] : u8{0});
}

bool comesBefore(const TableSection &a, const TableSection &b)
{
    const auto first = [](const TableSection &section) { return section.seen ? section.seen->first.packet : 0; };
    return std::make_tuple(identityOf(a), first(a)) < std::make_tuple(identityOf(b), first(b));
}

/** Two sections of one identity are two versions of it; but the STT's change with the time (A/65 6.1), and those of an
 * SDT of other streams may be told apart by original_network_id only. */
bool hasVersions(const TableSection &section)
{
    const bool longForm = section.bytes.size() > 7 && psi::demux::isLongForm(section.bytes.data());
    return longForm && section.kind && section.kind->psiType != PSI_STT && section.kind->psiType != PSI_SDT_OTHER &&
           (section.bytes[0] < 0x4E || section.bytes[0] > 0x6F);
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

DescriptorContext completed(DescriptorContext usual, const DescriptorContext &other)
{
    if (usual.standard == Standard::unknown)
        usual.standard = other.standard;
    if (usual.privateDataSpecifier == 0)
        usual.privateDataSpecifier = other.privateDataSpecifier;
    if (*usual.charset == '\0')
        usual.charset = other.charset;
    if (!usual.gpsUtcOffset)
        usual.gpsUtcOffset = other.gpsUtcOffset;
    return usual;
}

DescriptorContext usualFor(const TablesOptions &options, const DescriptorContext &found)
{
    DescriptorContext asked = options.given;
    asked.standard = standardFor(options.standard, Standard::unknown);
    return completed(asked, found);
}

std::vector<u8> wantedTableIds(const TablesOptions &options)
{
    std::vector<u8> ids;
    for (const TableKind &kind : tableKinds())
        if (!options.types.empty() && (contains(options.types, kind.family) || contains(options.types, kind.option)))
            ids.push_back(kind.tableId);
    return ids;
}

std::vector<TableSection> sectionsOf(Collection &collection, const TablesOptions &options)
{
    std::vector<TableSection> sections = collectedSections(collection, options);
    const auto isOut = [&](const TableSection &section) {
        return !isWanted(section, options) || (!options.pids.empty() && !isOnPid(*section.pid, options));
    };
    sections.erase(std::remove_if(sections.begin(), sections.end(), isOut), sections.end());
    for (TableSection &section : sections)
        comparePmtWithPat(section, collection.model());
    std::stable_sort(sections.begin(), sections.end(), comesBefore);
    findUnannouncedChanges(sections);
    return sections;
}

} // namespace psitool
