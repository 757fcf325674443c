#include "demux/pidUses.h"

#include "demux/tableIds.h"
#include "demux/transportPacket.h"

#include <algorithm>

namespace psi::demux {

namespace {

constexpr u8 kCaDescriptor = 0x09;
constexpr u8 kRegistration = 0x05;

/** A section taken apart by the library. */
template <class Section> class Parsed {
public:
    Parsed(u32 tableType, const CollectedSection &section) : type(tableType)
    {
        void *made = nullptr;
        if (syntaxAnalysePsi(type, &made, section.bytes.data(), static_cast<u32>(section.bytes.size())) == 0)
            tree = static_cast<Section *>(made);
    }
    ~Parsed()
    {
        if (tree != nullptr)
            syntaxDestroyPsiSection(type, tree);
    }
    Parsed(const Parsed &) = delete;
    Parsed &operator=(const Parsed &) = delete;
    explicit operator bool() const { return tree != nullptr; }
    const Section *operator->() const { return tree; }

private:
    u32 type;
    Section *tree = nullptr;
};

template <class Node> const Node *next(const Node *node)
{
    return static_cast<const Node *>(node->link.next);
}

u32 registrationOf(const descInfo *list)
{
    for (const descInfo *one = list; one != nullptr; one = next(one))
        if (one->descTag == kRegistration && one->descLen >= 4)
            return u32{wordAt(one->descData)} << 16 | wordAt(one->descData + 2);
    return 0;
}

/** ISO/IEC 13818-1 2.6.16. */
template <class Uses> void addCaPids(Uses &added, const descInfo *list, PidUse use)
{
    for (const descInfo *one = list; one != nullptr; one = next(one)) {
        if (one->descTag != kCaDescriptor || one->descLen < 4)
            continue;
        use.caSystemId = wordAt(one->descData);
        const u16 pid = wordAt(one->descData + 2) & 0x1FFF;
        const std::pair<u16, PidUse> entry{pid, use};
        if (pid != kNullPid && std::find(added.begin(), added.end(), entry) == added.end())
            added.push_back(entry);
    }
}

} // namespace

PidContent contentOf(u8 streamType, const descInfo *program, const descInfo *stream)
{
    constexpr u8 firstPrivate = 0x80;
    constexpr u32 disc = 0x48444D56; // "HDMV": the numbers from 0x80 on are others there, of sound and pictures all
    if (streamType >= firstPrivate && (registrationOf(program) == disc || registrationOf(stream) == disc))
        return PidContent::other;
    constexpr u8 inSections[] = {0x05, 0x0A, 0x0B, 0x0C, 0x0D, 0x13, 0x14, 0x16, 0x17, 0x18, 0x86, 0x95};
    if (std::find(std::begin(inSections), std::end(inSections), streamType) != std::end(inSections))
        return PidContent::sections;
    return streamType < firstPrivate && streamType != 0x00 && streamType != 0x08 ? PidContent::other
                                                                                 : PidContent::unknown;
}

PidUses::PidUses(ContentSink onContent) : contentSink(std::move(onContent))
{
    for (const u16 pid : {kPatPid, kCatPid, u16{2}, kNitPid, kSdtPid, kEitPid, u16{0x13}, kTimePid, u16{0x16},
                          u16{0x1C}, u16{0x1D}, u16{0x1E}, kSitPid, kPsipPid})
        uses[pid].push_back({PidRole::tables});
}

const std::vector<PidUse> &PidUses::of(u16 pid) const
{
    static const std::vector<PidUse> nothing;
    const auto found = uses.find(pid);
    return found != uses.end() ? found->second : nothing;
}

TableClass PidUses::classOf(u16 pid) const
{
    // Streams of other systems use this PID for anything.
    const std::vector<PidUse> &known = of(pid);
    TableClass group = pid == kEmergencyPid && known.empty() ? TableClass::wellKnown : TableClass::content;
    for (const PidUse &use : known) {
        if (use.role == PidRole::tables || use.role == PidRole::network)
            return TableClass::wellKnown;
        if (use.role == PidRole::programMap)
            group = TableClass::program;
    }
    return group;
}

void PidUses::take(const CollectedTable &table, const TableVersion &version)
{
    if (!table.longForm) // none of these tables, whatever its table_id is
        return;
    if (table.tableId == kPat && table.pid == kPatPid)
        takePat(version);
    else if (table.tableId == kPmt && classOf(table.pid) != TableClass::content)
        takePmt(table, version);
    else if (table.tableId == kCat && table.pid == kCatPid)
        takeCat(version);
    else if (table.tableId == kMgt && table.pid == kPsipPid)
        takeMgt(version);
}

void PidUses::takePat(const TableVersion &version)
{
    std::map<u16, u16> programs;
    Uses added;
    network.reset();
    for (const CollectedSection &section : version.sections) {
        tsId = tableIdExtension(section.bytes.data());
        const Parsed<patSection> pat(PSI_PAT, section);
        for (const psiPatProg *one = pat ? pat->prog_info : nullptr; one != nullptr; one = next(one)) {
            const bool isNetwork = one->program_number == 0;
            if (isNetwork)
                network = one->program_map_PID;
            else
                programs[one->program_number] = one->program_map_PID;
            PidUse use;
            use.role = isNetwork ? PidRole::network : PidRole::programMap;
            use.program = one->program_number;
            added.emplace_back(one->program_map_PID, use);
        }
    }
    for (const auto &[program, pid] : pmtPids)
        if (programs.count(program) == 0)
            replace({PidRole::stream, program}, {});
    pmtPids = std::move(programs);
    replace({PidRole::programMap, 0}, std::move(added));
}

void PidUses::takePmt(const CollectedTable &table, const TableVersion &version)
{
    const auto program = pmtPids.find(table.extension);
    if (program == pmtPids.end() || program->second != table.pid)
        return;
    Uses added;
    for (const CollectedSection &section : version.sections) {
        const Parsed<pmtSection> pmt(PSI_PMT, section);
        if (!pmt)
            continue;
        PidUse use;
        use.program = table.extension;
        use.role = PidRole::ecm;
        addCaPids(added, pmt->prog_descriptor, use);
        for (const psiPmtEs *es = pmt->es_info; es != nullptr; es = next(es)) {
            addCaPids(added, es->es_descriptor, use);
            PidUse stream = use;
            stream.role = PidRole::stream;
            stream.streamType = es->stream_type;
            stream.content = contentOf(es->stream_type, pmt->prog_descriptor, es->es_descriptor);
            stream.codec = codecOf(es->stream_type, pmt->prog_descriptor, es->es_descriptor);
            stream.opusChannels = opusChannels(es->es_descriptor);
            added.emplace_back(es->elementary_PID, stream);
        }
        use.role = PidRole::pcr;
        if (pmt->PCR_PID != kNullPid)
            added.emplace_back(pmt->PCR_PID, use);
    }
    replace({PidRole::stream, table.extension}, std::move(added));
}

void PidUses::takeCat(const TableVersion &version)
{
    Uses added;
    for (const CollectedSection &section : version.sections) {
        const Parsed<catSection> cat(PSI_CAT, section);
        PidUse use;
        use.role = PidRole::emm;
        if (cat)
            addCaPids(added, cat->cat_descriptor, use);
    }
    replace({PidRole::emm, 0}, std::move(added));
}

void PidUses::takeMgt(const TableVersion &version)
{
    Uses added;
    guidePids.clear();
    for (const CollectedSection &section : version.sections) {
        const Parsed<mgtSection> mgt(PSI_MGT, section);
        for (const mgtTableInfo *one = mgt ? mgt->table_info : nullptr; one != nullptr; one = next(one)) {
            guidePids[one->table_type] = one->table_type_PID;
            PidUse use;
            use.role = PidRole::guide;
            use.tableType = one->table_type;
            if (one->table_type_PID != kPsipPid)
                added.emplace_back(one->table_type_PID, use);
        }
    }
    replace({PidRole::guide, 0}, std::move(added));
}

void PidUses::replace(Source source, Uses added)
{
    Uses &old = said[source];
    std::vector<u16> touched;
    for (const auto &[pid, use] : old) {
        std::vector<PidUse> &all = uses[pid];
        all.erase(std::remove(all.begin(), all.end(), use), all.end());
        touched.push_back(pid);
    }
    for (const auto &[pid, use] : added) {
        std::vector<PidUse> &all = uses[pid];
        if (std::find(all.begin(), all.end(), use) == all.end())
            all.push_back(use);
        touched.push_back(pid);
    }
    old = std::move(added);
    for (const u16 pid : touched)
        decide(pid);
}

/** Who says that there are sections is right: nothing else could be found in them. */
void PidUses::decide(u16 pid)
{
    PidContent content = PidContent::unknown;
    for (const PidUse &use : uses[pid]) {
        const bool tables = use.role != PidRole::stream && use.role != PidRole::pcr && use.role != PidRole::ecm &&
                            use.role != PidRole::emm;
        if (tables || (use.role == PidRole::stream && use.content == PidContent::sections))
            content = PidContent::sections;
        else if (use.role == PidRole::stream && content == PidContent::unknown)
            content = use.content;
    }
    contentSink(pid, content);
}

} // namespace psi::demux
