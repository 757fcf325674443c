#include "make/makeSections.h"
#include "demux/transportPacket.h"

#include "describe/modelView.h"
#include "describe/parsedSection.h"
#include "make/jsonPlace.h"
#include "make/makeObject.h"
#include "output/console.h"
#include "output/described.h"

#include <algorithm>
#include <cstdio>
#include <set>

namespace psitool {

namespace {

constexpr u8 networkNameTag = 0x40;
constexpr u8 serviceTag = 0x48;
constexpr std::size_t longestSection = 1024;

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

template <typename Node> std::size_t length(const Node *list)
{
    const NodeList<Node> all = nodes(list);
    return static_cast<std::size_t>(std::distance(all.begin(), all.end()));
}

void removeType(tsInfo &model, u32 psiType)
{
    singleTypeSectionDataDestroy(&model.sectionList, psiType);
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
void checkPmts(tsInfo &model)
{
    std::size_t index = 0;
    for (const progInfo &program : nodes(model.progList)) {
        const sectionData *pmt = pmtOf(model, program.progNo);
        if (!program.pmtValid)
            singleTypeAndIdExtSectionDataDestroy(&model.sectionList, PSI_PMT, program.progNo);
        else if (!pmt || pmt->len > longestSection)
            throw JsonError(programPointer(index) + "/pmt", "descriptors and streams do not fit into one section of " +
                                                                std::to_string(longestSection) + " bytes");
        ++index;
    }
}

/** How many entries the sections of a table have together. @param entries counts those of one section */
template <typename Entries> std::size_t entriesOf(const tsInfo &model, u32 psiType, const Entries &entries)
{
    std::size_t count = 0;
    for (const sectionData &section : nodes(model.sectionList))
        if (section.psiType == psiType)
            count += entries(section);
    return count;
}

bool hasTable(const tsInfo &model, u32 psiType)
{
    return entriesOf(model, psiType, [](const sectionData &) { return 1U; }) > 0;
}

/** AutoMakeSection() tells of the PAT alone; those of the SDT and of the PMTs are counted. */
void checkTables(const tsInfo &model, bool atsc)
{
    const std::pair<u32, bool> wanted[] = {
        {PSI_CAT, (model.tableMask >> PSI_CAT & 1) != 0}, {PSI_VCT, atsc}, {PSI_MGT, atsc}};
    for (const auto &[psiType, isWanted] : wanted)
        if (isWanted && !hasTable(model, psiType))
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
 * SDT
 * ---------------------------------------------------------------------------------------------------------------- */

std::size_t servicesPlaced(const tsInfo &model)
{
    return entriesOf(model, PSI_SDT_ACTUAL, [](const sectionData &section) {
        const ParsedSection<sdtSection> sdt(PSI_SDT_ACTUAL, bytesOf(section));
        return sdt ? length(sdt->service_info) : 0;
    });
}

void appendCounted(std::string &bytes, const u8 *text, u8 count)
{
    bytes += static_cast<char>(count);
    bytes.append(text, text + count);
}

void addService(sdtSection &sdt, const progInfo &program)
{
    psiSdtService &service = made(psiSdtServiceCreat(&sdt.service_info));
    service.service_id = program.progNo;
    service.free_CA_mode = program.ca_mode;
    service.running_status = program.run_stat;
    service.EIT_schedule_flag = program.EIT_flag;
    service.EIT_present_following_flag = program.EIT_pre_flag;
    std::string names(1, static_cast<char>(program.prog_type)); // EN 300 468 6.2.33
    appendCounted(names, program.pname, program.pnameLen);
    appendCounted(names, program.sname, program.snameLen);
    addDescriptor(&service.service_descriptor, serviceTag, ByteView(names));
    for (const descInfo &descriptor : nodes(program.sdtDescList))
        addDescriptor(&service.service_descriptor, descriptor.descTag, {descriptor.descData, descriptor.descLen});
}

/**
 * The SDT once more, by way of a tree: the generator counts the sections from the bytes of all services and leaves out
 * those that then have no place, as no section can be filled to the brim; writing a tree back counts as it packs.
 */
void rebuildSdt(tsInfo &model)
{
    ParsedSection<sdtSection> sdt(PSI_SDT_ACTUAL, &made(psiSdtSectionCreat()));
    sdt->table_id = 0x42;
    sdt->version_number = model.sdtHead.version_number;
    sdt->transport_stream_id = model.tsId;
    sdt->original_network_id = model.orNetId;
    for (const progInfo &program : nodes(model.progList))
        addService(*sdt, program);
    removeType(model, PSI_SDT_ACTUAL);
    syntaxSIMakeSeciton(&model, &*sdt, model.tsId, PSI_SDT_ACTUAL);
}

void completeSdt(tsInfo &model)
{
    const std::size_t wanted = length(model.progList);
    if (servicesPlaced(model) < wanted)
        rebuildSdt(model);
    const std::size_t placed = servicesPlaced(model);
    if (placed < wanted)
        throw JsonError(programPointer(placed) + "/service", "names and descriptors do not fit into one section of " +
                                                                 std::to_string(longestSection) + " bytes");
}

/* ------------------------------------------------------------------------------------------------------------------
 * NIT: not generated, but kept in line with the model
 * ---------------------------------------------------------------------------------------------------------------- */

/** The sections of the model's own network, numbers only: writing one back changes the list. */
std::vector<u8> nitSections(const tsInfo &model, u16 networkId)
{
    std::vector<u8> numbers;
    for (const sectionData &section : nodes(model.sectionList))
        if (section.psiType == PSI_NIT_ACTUAL && section.idExt == networkId)
            numbers.push_back(section.sectionNo);
    return numbers;
}

const sectionData *nitSectionOf(const tsInfo &model, u16 networkId, u8 number)
{
    for (const sectionData &section : nodes(model.sectionList))
        if (section.psiType == PSI_NIT_ACTUAL && section.idExt == networkId && section.sectionNo == number)
            return &section;
    return nullptr;
}

descInfo *networkNameOf(const nitSection &nit)
{
    descInfo *descriptor = nit.net_descriptor;
    while (descriptor && descriptor->descTag != networkNameTag)
        descriptor = static_cast<descInfo *>(descriptor->link.next);
    return descriptor;
}

void setNetworkName(nitSection &nit, ByteView name)
{
    if (descInfo *old = networkNameOf(nit))
        setPayload(*old, name);
    else
        addDescriptor(&nit.net_descriptor, networkNameTag, name);
}

bool hasName(const tsInfo &model, const nitSection &nit)
{
    const descInfo *descriptor = networkNameOf(nit);
    const ByteView name(model.netname, model.netnameLen);
    return descriptor
               ? std::equal(name.begin(), name.end(), descriptor->descData, descriptor->descData + descriptor->descLen)
               : name.empty();
}

[[noreturn]] void refuseNit(const char *key, const char *why)
{
    throw JsonError(std::string("/transport_stream/") + key, why);
}

void writeNit(tsInfo &model, nitSection &nit)
{
    if (syntaxSIMakeSeciton(&model, &nit, nit.network_id, PSI_NIT_ACTUAL) != 0)
        refuseNit("network_name", "the NIT cannot be written");
}

/** A NIT of one network and one transport stream, for a model that comes with none; the PAT is to say where it is. */
void makeNit(tsInfo &model, const JsonFacts &facts)
{
    if (!facts.networkPid) {
        model.netFlag = 1;
        model.netPid = tableOut(PSI_NIT_ACTUAL).pid;
    }
    ParsedSection<nitSection> nit(PSI_NIT_ACTUAL, &made(psiNitSectionCreat()));
    nit->table_id = 0x40;
    nit->network_id = model.netId;
    if (model.netnameLen > 0)
        setNetworkName(*nit, {model.netname, model.netnameLen});
    psiStreamInfo &stream = made(psiStreamInfoCreat(&nit->stream_info));
    stream.transport_stream_id = model.tsId;
    stream.original_network_id = model.orNetId;
    writeNit(model, *nit);
}

/** The name stands in one section; it is changed there only when no section has it. */
void renameNetwork(tsInfo &model, const std::vector<u8> &numbers)
{
    const auto section = [&](u8 number) -> const sectionData & { return *nitSectionOf(model, model.netId, number); };
    u8 target = numbers.front();
    for (const u8 number : numbers) {
        const ParsedSection<nitSection> nit(PSI_NIT_ACTUAL, bytesOf(section(number)));
        if (!nit) {
            requireRoom();
            reportError("the NIT among the sections cannot be parsed, it is sent as it came");
            return;
        }
        if (hasName(model, *nit))
            return;
        if (networkNameOf(*nit))
            target = number;
    }
    ParsedSection<nitSection> nit(PSI_NIT_ACTUAL, bytesOf(section(target)));
    if (!nit)
        refuseNit("network_name", "the NIT among the sections cannot be parsed");
    setNetworkName(*nit, {model.netname, model.netnameLen});
    writeNit(model, *nit);
}

/** The one NIT that there is gets the model's network_id. */
void renumberNetwork(tsInfo &model)
{
    sectionData *only = nullptr;
    for (sectionData *section = model.sectionList; section; section = static_cast<sectionData *>(section->link.next))
        if (section->psiType == PSI_NIT_ACTUAL) {
            if (only)
                refuseNit("network_id", "the NIT among the sections has another network_id, and more than one section");
            only = section;
        }
    if (!only)
        return;
    ParsedSection<nitSection> nit(PSI_NIT_ACTUAL, bytesOf(*only));
    if (!nit)
        refuseNit("network_id", "the NIT among the sections has another network_id and cannot be parsed");
    sectionDataDestroy(&model.sectionList, only);
    nit->network_id = model.netId;
    writeNit(model, *nit);
}

void alignNit(tsInfo &model, const JsonFacts &facts)
{
    const bool kept = hasTable(model, PSI_NIT_ACTUAL);
    if (!kept && facts.standard == ScanStandard::dvb && (model.netId != 0 || model.netnameLen > 0))
        makeNit(model, facts);
    if (!kept)
        return;
    if (facts.networkId && nitSections(model, model.netId).empty())
        renumberNetwork(model);
    const std::vector<u8> numbers = nitSections(model, model.netId);
    if (facts.networkName && !numbers.empty())
        renameNetwork(model, numbers);
}

/* ------------------------------------------------------------------------------------------------------------------
 * Out
 * ---------------------------------------------------------------------------------------------------------------- */

void generate(MakeObject &object, const JsonFacts &facts)
{
    tsInfo &model = object.model();
    const bool atsc = facts.standard == ScanStandard::atsc;
    if (atsc)
        checkStreamCounts(model);
    alignNit(model, facts);
    if (AutoMakeSection(object.id(), atsc ? 1 : 0) != 0)
        throw JsonError("/transport_stream", "the tables cannot be generated");
    checkTables(model, atsc);
    checkPmts(model);
    checkCat(model);
    if (atsc) {
        checkVct(model);
        checkVctDescriptors(model);
    } else if (facts.sdt) {
        completeSdt(model);
    } else {
        removeType(model, PSI_SDT_ACTUAL);
    }
}

std::vector<MadeSection> collected(const tsInfo &model, ScanStandard standard)
{
    std::vector<MadeSection> sections;
    for (const TableOut &table : tables)
        for (const sectionData &section : nodes(model.sectionList))
            if (section.psiType == table.psiType) {
                const u16 pid = section.pid != 0 ? section.pid : table.pid;
                const u32 interval = standard == ScanStandard::atsc ? table.atscMs : table.dvbMs;
                sections.push_back({table.psiType, pid, interval, std::string(section.buf, section.buf + section.len)});
            }
    return sections;
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

std::vector<MadeSection> makeSections(MakeObject &object, const JsonFacts &facts)
{
    try {
        generate(object, facts);
    } catch (const JsonError &) {
        requireRoom(); // where there is none, it is no fault of the JSON
        throw;
    }
    return collected(object.model(), facts.standard);
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
