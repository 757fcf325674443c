#include "make/makeSections.h"
#include "demux/transportPacket.h"

#include "describe/modelView.h"
#include "describe/parsedSection.h"
#include "describe/sections.h"
#include "make/jsonPlace.h"
#include "make/keptTables.h"
#include "make/makeObject.h"
#include "make/makeParts.h"
#include "make/vctFields.h"
#include "output/console.h"
#include "output/described.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>

namespace psitool {

namespace {

/** A table on its way out. */
struct TableOut {
    const char *name;      // in file names
    const char *extension; // what table_id_extension is, in file names; null: nothing
    u32 psiType;
    u32 dvbMs;  // ETSI TS 101 211; PAT and PMT: ETSI TS 101 154
    u32 atscMs; // A/65, for PAT and PMT too
    u16 pid;    // where its sections have none of their own
};

// In the order in which a receiver wants them. The EBIT and its kin have no customary rate.
constexpr TableOut tables[] = {
    {"pat", "ts", PSI_PAT, 100, 100, psi::demux::kPatPid},
    {"pmt", "program", PSI_PMT, 100, 400, 0},
    {"cat", nullptr, PSI_CAT, 1000, 1000, psi::demux::kCatPid},
    {"mgt", nullptr, PSI_MGT, 150, 150, psi::demux::kPsipPid},
    {"vct", "ts", PSI_VCT, 400, 400, psi::demux::kPsipPid},
    {"stt", nullptr, PSI_STT, 1000, 1000, psi::demux::kPsipPid},
    {"nit-actual", "network", PSI_NIT_ACTUAL, 10000, 10000, psi::demux::kNitPid},
    {"sdt-actual", "ts", PSI_SDT_ACTUAL, 2000, 2000, psi::demux::kSdtPid},
    {"nit-other", "network", PSI_NIT_OTHER, 10000, 10000, psi::demux::kNitPid},
    {"sdt-other", "ts", PSI_SDT_OTHER, 10000, 10000, psi::demux::kSdtPid},
    {"bat", "bouquet", PSI_BAT, 10000, 10000, psi::demux::kSdtPid},
    {"ebit", "extension", PSI_EBIT, 1000, 1000, psi::demux::kEmergencyPid},
    {"ebct", "extension", PSI_EBCT, 1000, 1000, psi::demux::kEmergencyPid},
    {"ebcat", "extension", PSI_EBCAT, 1000, 1000, psi::demux::kEmergencyPid},
    {"ebcct", "extension", PSI_EBCCT, 1000, 1000, psi::demux::kEmergencyPid},
};

const TableOut &tableOut(u32 psiType)
{
    return *std::find_if(std::begin(tables), std::end(tables),
                         [=](const TableOut &table) { return table.psiType == psiType; });
}

/* ------------------------------------------------------------------------------------------------------------------
 * What the generators leave out without a word
 * ---------------------------------------------------------------------------------------------------------------- */

const sectionData *pmtOf(const tsInfo &model, u16 programNumber)
{
    for (const sectionData &section : nodes(model.sectionList))
        if (section.psiType == PSI_PMT && section.idExt == programNumber)
            return &section;
    return nullptr;
}

/** A PMT is one section; programs whose PMT nobody saw get none. */
void checkPmts(tsInfo &model, const KeptTables &kept)
{
    std::size_t index = 0;
    for (const progInfo &program : nodes(model.progList)) {
        const sectionData *pmt = pmtOf(model, program.progNo);
        if (!program.pmtValid)
            singleTypeAndIdExtSectionDataDestroy(&model.sectionList, PSI_PMT, program.progNo);
        else if ((!pmt || pmt->len > longestSection) && !kept.hasPmt(program.progNo))
            throw JsonError(programPointer(index) + "/pmt", "descriptors and streams do not fit into one section of " +
                                                                std::to_string(longestSection) + " bytes");
        ++index;
    }
}

/** AutoMakeSection() tells of the PAT alone; those of the SDT and of the PMTs are counted. */
void checkTables(const tsInfo &model, bool atsc, const KeptTables &kept)
{
    const std::pair<u32, bool> wanted[] = {
        {PSI_CAT, (model.tableMask >> PSI_CAT & 1) != 0}, {PSI_VCT, atsc}, {PSI_MGT, atsc}};
    for (const auto &[psiType, isWanted] : wanted)
        if (isWanted && !hasTable(model, psiType) && !kept.has(psiType))
            throw JsonError("/transport_stream",
                            std::string("the ") + showPsiTypeStr(psiType) + " cannot be generated");
}

void checkCat(const tsInfo &model)
{
    const std::size_t placed = entriesOf(model, PSI_CAT, [](const sectionData &section) {
        const ParsedSection<catSection> cat(PSI_CAT, bytesOf(section));
        return cat ? length(cat->cat_descriptor) : 0;
    });
    const std::size_t wanted = length(model.catCaList) + length(model.catDescList);
    if (model.tableMask >> PSI_CAT & 1 && placed < wanted)
        throw JsonError("/transport_stream/cat", "only " + std::to_string(placed) + " of " + std::to_string(wanted) +
                                                     " descriptors fit into its sections; shorten or remove some");
}

void checkVct(const tsInfo &model)
{
    constexpr std::size_t channelsAt = 9; // num_channels_in_section, A/65 6.3.1
    const std::size_t placed =
        entriesOf(model, PSI_VCT, [](const sectionData &section) { return std::size_t{section.buf[channelsAt]}; });
    if (placed < length(model.progList))
        throw JsonError(programPointer(placed), "the channel does not fit into the sections of the VCT; shorten its "
                                                "descriptors or those of the channels before it");
}

/** The descriptors behind the channels go where the channels leave room. */
void checkVctDescriptors(const tsInfo &model)
{
    const MakeObject again;
    for (const sectionData &section : nodes(model.sectionList))
        if (section.psiType == PSI_VCT) {
            sectionData copy = section;
            analysePsi(&again.model(), &copy, 1);
        }
    const std::size_t placed = length(again.model().vctDescList);
    if (placed < length(model.vctDescList))
        throw JsonError("/transport_stream/vct/descriptors/" + std::to_string(placed),
                        "the descriptor does not fit into the sections of the VCT");
}

/** The service_location_descriptor, A/65 6.9.5, counts its streams in 8 bits of descriptor_length. */
void checkStreamCounts(const tsInfo &model)
{
    constexpr std::size_t mostStreams = 42;
    std::size_t index = 0;
    for (const progInfo &program : nodes(model.progList)) {
        if (length(program.esList) > mostStreams)
            throw JsonError(programPointer(index) + "/pmt/streams", "expected at most " + std::to_string(mostStreams) +
                                                                        " streams of a channel, found " +
                                                                        std::to_string(length(program.esList)));
        ++index;
    }
}

/* ------------------------------------------------------------------------------------------------------------------
 * Out
 * ---------------------------------------------------------------------------------------------------------------- */

void generate(MakeObject &object, const JsonFacts &facts, const KeptTables &kept)
{
    tsInfo &model = object.model();
    const bool atsc = facts.standard == ScanStandard::atsc;
    const bool vct = atsc && facts.vct && !kept.has(PSI_VCT);
    if (vct)
        checkStreamCounts(model);
    alignNit(model, facts);
    if (AutoMakeSection(object.id(), atsc ? 1 : 0) != 0)
        throw JsonError("/transport_stream", "the tables cannot be generated");
    checkTables(model, atsc, kept);
    checkPmts(model, kept);
    if (!kept.has(PSI_CAT))
        checkCat(model);
    if (vct) {
        checkVct(model);
        checkVctDescriptors(model);
    } else if (!atsc && facts.sdt && !kept.has(PSI_SDT_ACTUAL)) {
        completeSdt(model, kept);
    }
}

/** Tables that the generators make although there is nothing to put in. */
void removeInvented(tsInfo &model, const JsonFacts &facts)
{
    if (!facts.pat)
        removeType(model, PSI_PAT);
    if (facts.standard == ScanStandard::atsc || !facts.sdt)
        removeType(model, PSI_SDT_ACTUAL);
    if (facts.standard == ScanStandard::atsc && !facts.vct) {
        removeType(model, PSI_VCT);
        removeType(model, PSI_MGT);
    }
}

/** A table on its way out: where a section goes when it has no PID of its own, and how often. */
MadeSection madeSection(const TableOut &table, ScanStandard standard, u16 pid, const std::string &bytes)
{
    const u32 interval = standard == ScanStandard::atsc ? table.atscMs : table.dvbMs;
    return {table.psiType, pid != 0 ? pid : table.pid, interval, bytes};
}

using SectionsByProgram = std::map<u16, std::vector<std::string>>;

/** The PMTs in the order of their programs, those that nobody edited as they came. */
void collectPmts(const tsInfo &model, const JsonFacts &facts, const KeptTables &kept,
                 std::vector<MadeSection> &sections)
{
    SectionsByProgram came;
    for (const StoredSection *section : kept.stored(PSI_PMT))
        came[psi::demux::tableIdExtension(ByteView(section->bytes).data())].push_back(section->bytes);
    SectionsByProgram generated;
    for (const sectionData &section : nodes(model.sectionList))
        if (section.psiType == PSI_PMT)
            generated[section.idExt].emplace_back(section.buf, section.buf + section.len);
    for (const progInfo &program : nodes(model.progList))
        for (const std::string &bytes : (kept.hasPmt(program.progNo) ? came : generated)[program.progNo])
            sections.push_back(madeSection(tableOut(PSI_PMT), facts.standard, program.pmtPid, bytes));
}

MadeStream collected(const tsInfo &model, const JsonFacts &facts, const KeptTables &kept)
{
    MadeStream stream;
    for (const TableOut &table : tables) {
        if (table.psiType == PSI_PMT) {
            collectPmts(model, facts, kept, stream.sections);
        } else if (kept.has(table.psiType)) {
            for (const StoredSection *section : kept.stored(table.psiType))
                stream.sections.push_back(madeSection(table, facts.standard, section->pid, section->bytes));
        } else {
            for (const sectionData &section : nodes(model.sectionList))
                if (section.psiType == table.psiType)
                    stream.sections.push_back(madeSection(table, facts.standard, section.pid,
                                                          std::string(section.buf, section.buf + section.len)));
        }
    }
    return stream;
}

/** True when a CA descriptor stands behind another one: those of a model come first. */
bool mixesCa(const std::vector<ReadDescriptor> &loop)
{
    constexpr u8 caTag = 0x09;
    const auto isCa = [](const ReadDescriptor &descriptor) { return descriptor.tag == caTag; };
    return !std::is_partitioned(loop.begin(), loop.end(), isCa);
}

/** True for fields with a loop, in themselves or below, whose CA descriptors do not all come first. */
bool losesOrder(const Fields &fields)
{
    return std::any_of(fields.begin(), fields.end(), [](const Field &field) {
        return mixesCa(field.descriptors) || std::any_of(field.items.begin(), field.items.end(), losesOrder);
    });
}

bool losesOrder(const StoredSection &section)
{
    const ByteView bytes(section.bytes);
    return losesOrder(describeSection(bytes, tableKindOf(bytes[0]), Standard::unknown).fields);
}

/** What came with the model, and is not in what is generated from it. */
std::vector<std::string> lostParts(const tsInfo &model, const JsonFacts &facts, const KeptTables &kept)
{
    std::vector<std::string> lines;
    std::set<u16> programs;
    for (const progInfo &program : nodes(model.progList))
        programs.insert(program.progNo);
    for (const StoredSection *section : kept.stored(PSI_PMT)) {
        const u16 number = psi::demux::tableIdExtension(ByteView(section->bytes).data());
        if (programs.count(number) != 0 && !kept.hasPmt(number) && losesOrder(*section))
            lines.push_back("PMT of program " + std::to_string(number) +
                            ": is edited, its CA descriptors now come first in their loops");
    }
    for (const StoredSection *section : kept.stored(PSI_CAT))
        if (!kept.has(PSI_CAT) && losesOrder(*section))
            lines.emplace_back("CAT: is edited, its CA descriptors now come first");
    if (facts.standard == ScanStandard::atsc && facts.sdt && !kept.has(PSI_SDT_ACTUAL) &&
        !kept.stored(PSI_SDT_ACTUAL).empty())
        lines.emplace_back("SDT actual: is edited and left out, as there is a VCT");
    return lines;
}

std::string hex4(u16 number)
{
    char text[8];
    std::snprintf(text, sizeof text, "0x%04x", number);
    return text;
}

std::string baseName(const MadeSection &section)
{
    const TableOut &table = tableOut(section.psiType);
    const ByteView bytes(section.bytes);
    std::string name = std::string(table.name) + "-pid" + hex4(section.pid);
    if (table.extension)
        name += std::string("-") + table.extension + std::to_string(psi::demux::tableIdExtension(bytes.data()));
    return name + "-" + std::to_string(bytes[6]);
}

} // namespace

MadeStream makeSections(MakeObject &object, const JsonFacts &facts)
{
    const KeptTables kept(object.model(), facts);
    try {
        generate(object, facts, kept);
    } catch (const JsonError &) {
        requireRoom(); // where there is none, it is no fault of the JSON
        throw;
    }
    removeInvented(object.model(), facts);
    MadeStream stream = collected(object.model(), facts, kept);
    stream.lost = lostParts(object.model(), facts, kept);
    for (std::string &line : restoreVctFields(stream.sections, kept))
        stream.lost.push_back(std::move(line));
    return stream;
}

std::vector<std::string> sectionFileNames(const std::vector<MadeSection> &sections)
{
    std::set<std::string> taken;
    std::vector<std::string> names;
    for (const MadeSection &section : sections) {
        const std::string base = baseName(section);
        std::string name = base + ".sec";
        for (unsigned i = 2; !taken.insert(name).second; ++i) // the same section in another version
            name = base + "-" + std::to_string(i) + ".sec";
        names.push_back(name);
    }
    return names;
}

} // namespace psitool
