#include "support/syntaxTree.h"

#include "psiInternal.h"
#include "support/plainModel.h"

#include <cstdio>

using namespace psi::core;

namespace psitest {
namespace {

/** @brief A payload in a pool block of its own. */
void putBlock(TreeText &out, const char *name, const u8 *data, u32 len)
{
    const u32 block = buddy_size(psiMp, data);
    if (data == nullptr && len == 0)
        out.bytes(name, {});
    else if (block == len && len != 0)
        out.bytes(name, Bytes(data, data + len));
    else
        out.line(std::string(name) + ": " + std::to_string(len) + " bytes in a block of " + std::to_string(block));
}

/** @brief A payload that stays null when the section ends in front of it, whatever its length says. */
void putBlockIfAny(TreeText &out, const char *name, const u8 *data, u32 len)
{
    putBlock(out, name, data, data == nullptr ? 0 : len);
}

template <typename Node, typename Put> void putList(TreeText &out, const char *name, const Node *head, Put put)
{
    for (const Node *node = head; node != nullptr; node = static_cast<const Node *>(node->link.next)) {
        out.begin(name);
        put(*node);
        out.end();
    }
}

void putDescriptors(TreeText &out, const char *name, const descInfo *head)
{
    putList(out, name, head, [&](const descInfo &node) {
        out.field("descTag", node.descTag).field("descLen", node.descLen);
        putBlock(out, "descData", node.descData, node.descLen);
    });
}

void putPrivateIndicator(TreeText &, const void *) {}

void putPrivateIndicator(TreeText &out, const mgtSection *mgt)
{
    out.field("private_indicator", mgt->private_indicator);
}

/** @param extension name of the field that keeps table_id_extension, null when there is none */
template <typename Record> void putHeader(TreeText &out, const Record &record, const char *extension, u32 value)
{
    out.field("table_id", record.table_id).field("section_syntax_indicator", record.section_syntax_indicator);
    putPrivateIndicator(out, &record);
    out.field("section_length", record.section_length);
    if (extension != nullptr)
        out.field(extension, value);
    out.field("version_number", record.version_number).field("current_next_indicator", record.current_next_indicator);
    out.field("section_number", record.section_number).field("last_section_number", record.last_section_number);
}

template <typename Record> void putEmergencyHeader(TreeText &out, const Record &record)
{
    putHeader(out, record, "table_id_extension", record.table_id_extension);
}

template <typename Record> void putSignature(TreeText &out, const Record &record)
{
    out.field("signature_length", record.signature_length);
    putBlockIfAny(out, "signature", record.signature, record.signature_length);
}

void put(TreeText &out, const patSection &pat)
{
    putHeader(out, pat, "transport_stream_id", pat.transport_stream_id);
    putList(out, "prog_info", pat.prog_info, [&](const psiPatProg &node) {
        out.field("program_number", node.program_number).field("program_map_PID", node.program_map_PID);
    });
}

void put(TreeText &out, const pmtSection &pmt)
{
    putHeader(out, pmt, "program_number", pmt.program_number);
    out.field("PCR_PID", pmt.PCR_PID);
    out.field("program_info_length", pmt.program_info_length);
    putDescriptors(out, "prog_descriptor", pmt.prog_descriptor);
    putList(out, "es_info", pmt.es_info, [&](const psiPmtEs &node) {
        out.field("stream_type", node.stream_type).field("elementary_PID", node.elementary_PID);
        out.field("ES_info_length", node.ES_info_length);
        putDescriptors(out, "es_descriptor", node.es_descriptor);
    });
}

void put(TreeText &out, const catSection &cat)
{
    putHeader(out, cat, nullptr, 0);
    putDescriptors(out, "cat_descriptor", cat.cat_descriptor);
}

void putStreams(TreeText &out, const psiStreamInfo *head)
{
    putList(out, "stream_info", head, [&](const psiStreamInfo &node) {
        out.field("transport_stream_id", node.transport_stream_id);
        out.field("original_network_id", node.original_network_id);
        out.field("transport_descriptors_length", node.transport_descriptors_length);
        putDescriptors(out, "descriptor", node.descriptor);
    });
}

void put(TreeText &out, const nitSection &nit)
{
    putHeader(out, nit, "network_id", nit.network_id);
    out.field("network_descriptors_length", nit.network_descriptors_length);
    putDescriptors(out, "net_descriptor", nit.net_descriptor);
    putStreams(out, nit.stream_info);
}

void put(TreeText &out, const batSection &bat)
{
    putHeader(out, bat, "bouquet_id", bat.bouquet_id);
    out.field("bouquet_descriptors_length", bat.bouquet_descriptors_length);
    putDescriptors(out, "bouquet_descriptor", bat.bouquet_descriptor);
    putStreams(out, bat.stream_info);
}

void put(TreeText &out, const sdtSection &sdt)
{
    putHeader(out, sdt, "transport_stream_id", sdt.transport_stream_id);
    out.field("original_network_id", sdt.original_network_id);
    putList(out, "service_info", sdt.service_info, [&](const psiSdtService &node) {
        out.field("service_id", node.service_id).field("EIT_schedule_flag", node.EIT_schedule_flag);
        out.field("EIT_present_following_flag", node.EIT_present_following_flag);
        out.field("running_status", node.running_status).field("free_CA_mode", node.free_CA_mode);
        out.field("descriptors_loop_length", node.descriptors_loop_length);
        putDescriptors(out, "service_descriptor", node.service_descriptor);
    });
}

void put(TreeText &out, const mgtSection &mgt)
{
    putHeader(out, mgt, nullptr, 0);
    out.field("protocol_version", mgt.protocol_version);
    out.field("tables_defined", mgt.tables_defined);
    putList(out, "table_info", mgt.table_info, [&](const mgtTableInfo &node) {
        out.field("table_type", node.table_type).field("table_type_PID", node.table_type_PID);
        out.field("table_type_version_number", node.table_type_version_number);
        out.field("number_bytes", node.number_bytes);
        out.field("table_type_descriptors_length", node.table_type_descriptors_length);
        putDescriptors(out, "table_desc_info", node.table_desc_info);
    });
    out.field("descriptors_length", mgt.descriptors_length);
    putDescriptors(out, "mgt_desc_info", mgt.mgt_desc_info);
}

void put(TreeText &out, const ebitDetailsChannel &channel)
{
    out.begin("channel").field("details_word0", channel.details_word0).field("details_word1", channel.details_word1);
    out.field("details_word2", channel.details_word2).field("details_pid", channel.details_pid);
    out.field("program_info_length", channel.program_info_length);
    putDescriptors(out, "descriptor", channel.descriptor);
    putList(out, "stream", channel.stream, [&](const ebitStream &node) {
        out.field("stream_type", node.stream_type).field("elementary_PID", node.elementary_PID);
        out.field("ES_info_length", node.ES_info_length);
        putDescriptors(out, "descriptor", node.descriptor);
    });
    out.field("stream_info_length", channel.stream_info_length).end();
}

template <std::size_t n> Bytes arrayBytes(const u8 (&array)[n])
{
    return Bytes(array, array + n);
}

void put(TreeText &out, const ebitMessage &ebm)
{
    out.field("ebm_word0", ebm.ebm_word0).bytes("ebm_id", arrayBytes(ebm.ebm_id));
    out.field("ebm_word20", ebm.ebm_word20).field("ebm_word22", ebm.ebm_word22);
    out.field("ebm_value24", ebm.ebm_value24).field("ebm_word27", ebm.ebm_word27);
    out.field("ebm_value29", ebm.ebm_value29).bytes("ebm_bytes32", arrayBytes(ebm.ebm_bytes32));
    out.field("ebm_high37", ebm.ebm_high37).field("ebm_low37", ebm.ebm_low37);
    out.field("resource_number", ebm.resource_number);
    putList(out, "resource", ebm.resource,
            [&](const ebitResource &node) { out.bytes("resource_code", arrayBytes(node.resource_code)); });
    out.field("details_channel_flag", ebm.details_channel_flag);
    if (ebm.channel != nullptr)
        put(out, *ebm.channel);
}

void put(TreeText &out, const ebitSection &ebit)
{
    putEmergencyHeader(out, ebit);
    out.field("ebm_number", ebit.ebm_number);
    putList(out, "message", ebit.message, [&](const ebitMessage &node) { put(out, node); });
    putSignature(out, ebit);
}

void put(TreeText &out, const ebctContent &content)
{
    out.field("content_word", content.content_word).field("content_byte4", content.content_byte4);
    out.field("content_byte5", content.content_byte5).field("content_byte6", content.content_byte6);
    out.field("content_bits7", content.content_bits7).field("message_text_length", content.message_text_length);
    putBlockIfAny(out, "message_text", content.message_text, content.message_text_length);
    out.field("agency_name_length", content.agency_name_length);
    putBlockIfAny(out, "agency_name", content.agency_name, content.agency_name_length);
    out.field("auxiliary_data_number", content.auxiliary_data_number);
    putList(out, "auxiliaryData", content.auxiliaryData, [&](const ebctAuxiliaryData &node) {
        out.field("auxiliary_data_type", node.auxiliary_data_type);
        out.field("auxiliary_data_length", node.auxiliary_data_length);
        putBlock(out, "auxiliary_data", node.auxiliary_data, 0);
    });
}

void put(TreeText &out, const ebctSection &ebct)
{
    putEmergencyHeader(out, ebct);
    out.bytes("ebm_id", arrayBytes(ebct.ebm_id)).field("content_number", ebct.content_number);
    putList(out, "content", ebct.content, [&](const ebctContent &node) { put(out, node); });
    putSignature(out, ebct);
}

void put(TreeText &out, const ebcatSection &ebcat)
{
    putEmergencyHeader(out, ebcat);
    out.field("calist_number", ebcat.calist_number);
    putList(out, "calist", ebcat.calist, [&](const ebcatCalist &node) {
        out.field("ca_data_length", node.ca_data_length);
        putBlock(out, "ca_data", node.ca_data, node.ca_data_length);
    });
    out.field("ct_number", ebcat.ct_number);
    putList(out, "ct", ebcat.ct, [&](const ebcatCt &node) {
        out.field("ct_data_length", node.ct_data_length);
        putBlock(out, "ct_data", node.ct_data, node.ct_data_length);
    });
    putSignature(out, ebcat);
}

void put(TreeText &out, const ebcctSection &ebcct)
{
    putEmergencyHeader(out, ebcct);
    out.field("cmd_number", ebcct.cmd_number);
    putList(out, "cmd", ebcct.cmd, [&](const ebcctCmd &node) {
        out.field("cmd_tag", node.cmd_tag).field("cmd_data_length", node.cmd_data_length);
        putBlock(out, "cmd_data", node.cmd_data, node.cmd_data_length);
    });
    putSignature(out, ebcct);
}

template <typename Record> void putRecord(TreeText &out, const void *tree)
{
    const Record &record = *static_cast<const Record *>(tree);
    put(out, record);
    out.field("CRC_32", record.CRC_32);
}

using PutRecord = void (*)(TreeText &, const void *);

constexpr PutRecord putters[16] = {
    putRecord<patSection>,
    putRecord<pmtSection>,
    putRecord<sdtSection>,
    putRecord<sdtSection>,
    putRecord<nitSection>,
    putRecord<nitSection>,
    putRecord<batSection>,
    putRecord<catSection>,
    nullptr,
    putRecord<mgtSection>,
    nullptr,
    nullptr,
    putRecord<ebitSection>,
    putRecord<ebctSection>,
    putRecord<ebcatSection>,
    putRecord<ebcctSection>,
};

} // namespace

TreeText &TreeText::field(const char *name, u32 value)
{
    char text[16];
    const int size = std::snprintf(text, sizeof text, "0x%X", static_cast<unsigned>(value));
    return append({name, " = ", {text, static_cast<std::size_t>(size)}});
}

TreeText &TreeText::bytes(const char *name, const Bytes &value)
{
    return value.empty() ? append({name, ": none"}) : append({name, ": ", hexOf(value, "0123456789ABCDEF")});
}

TreeText &TreeText::begin(const char *name)
{
    line(name);
    ++depth_;
    return *this;
}

TreeText &TreeText::end()
{
    --depth_;
    return *this;
}

TreeText &TreeText::line(const std::string &text)
{
    return append({text});
}

TreeText &TreeText::append(std::initializer_list<std::string_view> parts)
{
    text_.append(2 * depth_, ' ');
    for (const std::string_view part : parts)
        text_ += part;
    text_ += '\n';
    return *this;
}

std::string describeTree(u32 psiType, const void *tree)
{
    TreeText out;
    putters[psiType](out, tree);
    return out.text();
}

ParsedTree::ParsedTree(u32 type, const u8 *buf, std::size_t bufLen)
    : type_(type), result_(syntaxAnalysePsi(type, &tree_, buf, static_cast<u32>(bufLen)))
{
}

ParsedTree::~ParsedTree()
{
    if (tree_ != nullptr)
        syntaxDestroyPsiSection(type_, tree_);
}

std::string ParsedTree::text() const
{
    return tree_ == nullptr ? "" : describeTree(type_, tree_);
}

const std::vector<u32> &parsedTypes()
{
    static const std::vector<u32> types = {PSI_PAT,       PSI_PMT,   PSI_SDT_ACTUAL, PSI_SDT_OTHER, PSI_NIT_ACTUAL,
                                           PSI_NIT_OTHER, PSI_BAT,   PSI_CAT,        PSI_MGT,       PSI_EBIT,
                                           PSI_EBCT,      PSI_EBCAT, PSI_EBCCT};
    return types;
}

} // namespace psitest
