#include "make/makeParts.h"

#include "demux/transportPacket.h"
#include "describe/parsedSection.h"
#include "make/jsonPlace.h"
#include "make/makeObject.h"
#include "output/console.h"

#include <algorithm>

namespace psitool {

namespace {

constexpr u8 networkNameTag = 0x40;

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
        model.netPid = psi::demux::kNitPid;
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

} // namespace

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

} // namespace psitool
