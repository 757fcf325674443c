#include "support/plainTree.h"

#include "support/libraryFixture.h"

namespace psitest {
namespace {

template <typename Section> void setHeader(Section &tree, const PlainTree &plain)
{
    tree.table_id = plain.tableId;
    tree.section_syntax_indicator = 1;
    tree.version_number = plain.version;
    tree.current_next_indicator = 1;
    tree.section_number = plain.number;
    tree.last_section_number = plain.last;
}

template <typename Section> std::string headerText(const Section &tree, u32 id, u32 extra)
{
    return format("table %02x %u version %u %u number %u/%u length %u id %u extra %u crc %08x\n", tree.table_id,
                  tree.section_syntax_indicator, tree.version_number, tree.current_next_indicator, tree.section_number,
                  tree.last_section_number, tree.section_length, id, extra, tree.CRC_32);
}

void addStreams(psiStreamInfo **list, const std::vector<PlainEntry> &entries)
{
    for (const PlainEntry &plain : entries) {
        psiStreamInfo *entry = psiStreamInfoCreat(list);
        entry->transport_stream_id = plain.id;
        entry->original_network_id = plain.originalNetworkId;
        addDescriptors(&entry->descriptor, plain.descriptors);
    }
}

std::string streamsText(psiStreamInfo *list)
{
    std::string text;
    for (const psiStreamInfo *entry : nodesOf(list)) {
        text += format(" stream %u %u [%u]\n", entry->transport_stream_id, entry->original_network_id,
                       entry->transport_descriptors_length);
        text += textOf(entry->descriptor);
    }
    return text;
}

template <typename Builder> Bytes networkSection(Builder builder, const PlainTree &plain)
{
    builder.tableId(plain.tableId).privateIndicator(0).idExt(plain.id).version(plain.version);
    builder.number(plain.number, plain.last).desc(loopOf(plain.descriptors));
    for (const PlainEntry &entry : plain.entries)
        builder.transportStream(entry.id, entry.originalNetworkId, loopOf(entry.descriptors));
    return builder.build();
}

} // namespace

sdtSection *SdtTable::make(const PlainTree &plain)
{
    sdtSection *tree = psiSdtSectionCreat();
    setHeader(*tree, plain);
    tree->transport_stream_id = plain.id;
    tree->original_network_id = plain.originalNetworkId;
    for (const PlainEntry &one : plain.entries) {
        psiSdtService *service = psiSdtServiceCreat(&tree->service_info);
        service->service_id = one.id;
        service->free_CA_mode = one.freeCaMode;
        service->running_status = one.runningStatus;
        service->EIT_schedule_flag = one.eitSchedule;
        service->EIT_present_following_flag = one.eitPresentFollowing;
        addDescriptors(&service->service_descriptor, one.descriptors);
    }
    return tree;
}

Bytes SdtTable::section(const PlainTree &plain)
{
    SdtBuilder builder;
    builder.tableId(plain.tableId).privateIndicator(0).tsId(plain.id).version(plain.version);
    builder.number(plain.number, plain.last).originalNetworkId(plain.originalNetworkId);
    for (const PlainEntry &one : plain.entries) {
        SdtService service;
        service.serviceId = one.id;
        service.descriptors = loopOf(one.descriptors);
        service.eitSchedule = one.eitSchedule;
        service.eitPresentFollowing = one.eitPresentFollowing;
        service.runningStatus = one.runningStatus;
        service.freeCaMode = one.freeCaMode;
        service.reservedFutureUse = 0;
        builder.service(service);
    }
    return builder.build();
}

std::string SdtTable::headerOf(const Section &tree)
{
    return headerText(tree, tree.transport_stream_id, tree.original_network_id);
}

std::string SdtTable::entriesOf(const Section &tree)
{
    std::string text;
    for (const psiSdtService *service : nodesOf(tree.service_info)) {
        text += format(" service %u %u %u %u %u [%u]\n", service->service_id, service->free_CA_mode,
                       service->running_status, service->EIT_schedule_flag, service->EIT_present_following_flag,
                       service->descriptors_loop_length);
        text += textOf(service->service_descriptor);
    }
    return text;
}

nitSection *NitTable::make(const PlainTree &plain)
{
    nitSection *tree = psiNitSectionCreat();
    setHeader(*tree, plain);
    tree->network_id = plain.id;
    addDescriptors(&tree->net_descriptor, plain.descriptors);
    addStreams(&tree->stream_info, plain.entries);
    return tree;
}

Bytes NitTable::section(const PlainTree &plain)
{
    return networkSection(NitBuilder(), plain);
}

std::string NitTable::headerOf(const Section &tree)
{
    return headerText(tree, tree.network_id, tree.network_descriptors_length);
}

std::string NitTable::entriesOf(const Section &tree)
{
    return streamsText(tree.stream_info);
}

batSection *BatTable::make(const PlainTree &plain)
{
    batSection *tree = psiBatSectionCreat();
    setHeader(*tree, plain);
    tree->bouquet_id = plain.id;
    addDescriptors(&tree->bouquet_descriptor, plain.descriptors);
    addStreams(&tree->stream_info, plain.entries);
    return tree;
}

Bytes BatTable::section(const PlainTree &plain)
{
    return networkSection(BatBuilder(), plain);
}

std::string BatTable::headerOf(const Section &tree)
{
    return headerText(tree, tree.bouquet_id, tree.bouquet_descriptors_length);
}

std::string BatTable::entriesOf(const Section &tree)
{
    return streamsText(tree.stream_info);
}

} // namespace psitest
