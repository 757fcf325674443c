#include "make/makeParts.h"

#include "describe/parsedSection.h"
#include "make/jsonPlace.h"
#include "make/keptTables.h"
#include "make/makeObject.h"

#include <algorithm>
#include <set>

namespace psitool {

namespace {

constexpr u8 serviceTag = 0x48;

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
    addDescriptors(&service.service_descriptor, program.sdtDescList);
}

/** What an SDT says, and where that comes from. */
struct SdtContent {
    std::vector<const progInfo *> programs;
    std::vector<std::size_t> places; // in the model's list
    std::vector<const StoredSection *> stored;
    std::set<u16> notInPat; // services of `stored` that the PAT never had
    std::size_t size() const { return programs.size() + notInPat.size(); }
};

template <typename Use> void forEachService(const std::vector<const StoredSection *> &stored, const Use &use)
{
    for (const StoredSection *section : stored) {
        const ParsedSection<sdtSection> sdt(PSI_SDT_ACTUAL, ByteView(section->bytes));
        if (sdt)
            for (const psiSdtService &service : nodes(sdt->service_info))
                use(service);
    }
}

std::set<u16> servicesBut(const std::set<u16> &known, const std::vector<const StoredSection *> &stored)
{
    std::set<u16> others;
    forEachService(stored, [&](const psiSdtService &service) {
        if (known.count(service.service_id) == 0)
            others.insert(service.service_id);
    });
    return others;
}

/** Programs that nothing is said about get no service, unless an SDT is asked for and there is nothing else to put in.
 */
SdtContent sdtContent(const tsInfo &model, const KeptTables &kept)
{
    SdtContent content;
    content.stored = kept.stored(PSI_SDT_ACTUAL);
    const NodeList<progInfo> all = nodes(model.progList);
    std::set<u16> known = kept.programs();
    for (const progInfo &program : all)
        known.insert(program.progNo);
    content.notInPat = servicesBut(known, content.stored);
    const bool anything = !content.notInPat.empty() || std::any_of(all.begin(), all.end(), isService);
    std::size_t index = 0;
    for (const progInfo &program : all) {
        if (!anything || isService(program)) {
            content.programs.push_back(&program);
            content.places.push_back(index);
        }
        ++index;
    }
    return content;
}

/** A service as it came. */
void addService(sdtSection &sdt, const psiSdtService &came)
{
    psiSdtService &service = made(psiSdtServiceCreat(&sdt.service_info));
    service.service_id = came.service_id;
    service.free_CA_mode = came.free_CA_mode;
    service.running_status = came.running_status;
    service.EIT_schedule_flag = came.EIT_schedule_flag;
    service.EIT_present_following_flag = came.EIT_present_following_flag;
    addDescriptors(&service.service_descriptor, came.service_descriptor);
}

void addServicesOutsidePat(sdtSection &sdt, const SdtContent &content)
{
    forEachService(content.stored, [&](const psiSdtService &service) {
        if (content.notInPat.count(service.service_id) != 0)
            addService(sdt, service);
    });
}

/**
 * The SDT once more, by way of a tree: the generator counts the sections from the bytes of all services and leaves out
 * those that then have no place, as no section can be filled to the brim; writing a tree back counts as it packs. It
 * also has a service for every program, and for no other.
 */
void rebuildSdt(tsInfo &model, const SdtContent &content)
{
    ParsedSection<sdtSection> sdt(PSI_SDT_ACTUAL, &made(psiSdtSectionCreat()));
    sdt->table_id = 0x42;
    sdt->version_number = model.sdtHead.version_number;
    sdt->transport_stream_id = model.tsId;
    sdt->original_network_id = model.orNetId;
    for (const progInfo *program : content.programs)
        addService(*sdt, *program);
    addServicesOutsidePat(*sdt, content);
    removeType(model, PSI_SDT_ACTUAL);
    syntaxSIMakeSeciton(&model, &*sdt, model.tsId, PSI_SDT_ACTUAL);
}

} // namespace

void completeSdt(tsInfo &model, const KeptTables &kept)
{
    const SdtContent content = sdtContent(model, kept);
    if (content.size() != length(model.progList) || !content.notInPat.empty() || servicesPlaced(model) < content.size())
        rebuildSdt(model, content);
    const std::size_t placed = servicesPlaced(model);
    if (placed < content.programs.size())
        throw JsonError(programPointer(content.places[placed]) + "/service",
                        "names and descriptors do not fit into one section of " + std::to_string(longestSection) +
                            " bytes");
    if (placed < content.size())
        throw JsonError("/sections", "the services of the SDT that the PAT does not have do not fit into it");
}

} // namespace psitool
