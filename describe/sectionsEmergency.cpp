#include "describe/sectionReader.h"

namespace psi::describe {

namespace {

constexpr std::size_t idBytes = 18;

void addBlob(Fields &fields, const char *key, const u8 *data, std::size_t size)
{
    fields.push_back({key, Field::Kind::hex, 0, 0, toHex({data, size}), {}});
}

void addSignature(Fields &fields, u16 length, const u8 *signature)
{
    addNumber(fields, "signature_length", length);
    addBlob(fields, "signature", signature, length);
}

/** A loop that says how many entries it has: an EBCT that was cut by its sender has fewer. */
void checkCount(DescribedSection &tree, const char *key, u32 announced, const Field &loop)
{
    if (loop.items.size() != announced)
        tree.notes.push_back(std::string(key) + " is " + std::to_string(announced) + ", but " +
                             std::to_string(loop.items.size()) + " of them were read");
}

/* ---- EBIT -----------------------------------------------------------------------------------------------------------
 */

void describeChannel(Fields &fields, const ebitDetailsChannel &channel, Standard standard)
{
    const DescriptorContext program = programContext(channel.descriptor, standard);
    addHex(fields, "details_word0", channel.details_word0, 4);
    addHex(fields, "details_word1", channel.details_word1, 4);
    addHex(fields, "details_word2", channel.details_word2, 4);
    addHex(fields, "details_pid", channel.details_pid, 4);
    addNumber(fields, "program_info_length", channel.program_info_length);
    addDescriptorLoop(fields, readDescriptors(channel.descriptor, program));
    addNumber(fields, "stream_info_length", channel.stream_info_length);
    addNodes(fields, "streams", channel.stream, [&](Fields &entry, const ebitStream &stream) {
        describeStream(entry, stream, stream.descriptor, program);
    });
}

void describeMessage(Fields &fields, const ebitMessage &message, Standard standard)
{
    addBlob(fields, "ebm_id", message.ebm_id, idBytes);
    addHex(fields, "ebm_word0", message.ebm_word0, 4);
    addHex(fields, "ebm_word20", message.ebm_word20, 4);
    addHex(fields, "ebm_word22", message.ebm_word22, 4);
    addHex(fields, "ebm_value24", message.ebm_value24, 6);
    addHex(fields, "ebm_word27", message.ebm_word27, 4);
    addHex(fields, "ebm_value29", message.ebm_value29, 6);
    addBlob(fields, "ebm_bytes32", message.ebm_bytes32, sizeof message.ebm_bytes32);
    addHex(fields, "ebm_high37", message.ebm_high37, 1);
    addHex(fields, "ebm_low37", message.ebm_low37, 1);
    addNumber(fields, "resource_number", message.resource_number);
    addNodes(fields, "resources", message.resource, [](Fields &entry, const ebitResource &resource) {
        addBlob(entry, "resource_code", resource.resource_code, sizeof resource.resource_code);
    });
    addNumber(fields, "details_channel_flag", message.details_channel_flag);
    Field channel{"details_channel", Field::Kind::list, 0, 0, "", {}};
    if (message.channel) {
        channel.items.emplace_back();
        describeChannel(channel.items.back(), *message.channel, standard);
    }
    fields.push_back(std::move(channel));
}

void describeEbit(const ebitSection &ebit, ByteView, Standard standard, DescribedSection &tree)
{
    addHeader(tree.fields, ebit, "table_id_extension", ebit.table_id_extension);
    addNumber(tree.fields, "ebm_number", ebit.ebm_number);
    addNodes(tree.fields, "messages", ebit.message,
             [=](Fields &fields, const ebitMessage &message) { describeMessage(fields, message, standard); });
    addSignature(tree.fields, ebit.signature_length, ebit.signature);
}

/* ---- EBCT -----------------------------------------------------------------------------------------------------------
 */

/** The library skips the bytes of auxiliary data. */
void describeAuxiliary(Fields &fields, const ebctAuxiliaryData &data)
{
    addHex(fields, "auxiliary_data_type", data.auxiliary_data_type, 2);
    addNumber(fields, "auxiliary_data_length", data.auxiliary_data_length);
}

void describeContent(Fields &fields, const ebctContent &content)
{
    addHex(fields, "content_word", content.content_word, 8);
    addHex(fields, "content_byte4", content.content_byte4, 2);
    addHex(fields, "content_byte5", content.content_byte5, 2);
    addHex(fields, "content_byte6", content.content_byte6, 2);
    addHex(fields, "content_bits7", content.content_bits7, 1);
    addNumber(fields, "message_text_length", content.message_text_length);
    addBlob(fields, "message_text", content.message_text, content.message_text_length);
    addNumber(fields, "agency_name_length", content.agency_name_length);
    addBlob(fields, "agency_name", content.agency_name, content.agency_name_length);
    addNumber(fields, "auxiliary_data_number", content.auxiliary_data_number);
    addNodes(fields, "auxiliary_data", content.auxiliaryData, describeAuxiliary);
}

void describeEbct(const ebctSection &ebct, ByteView, Standard, DescribedSection &tree)
{
    Fields &fields = tree.fields;
    addHeader(fields, ebct, "table_id_extension", ebct.table_id_extension);
    if (ebct.section_number != 0) {
        tree.notes.emplace_back("the library parses the first section of an EBCT only");
        return;
    }
    addBlob(fields, "ebm_id", ebct.ebm_id, idBytes);
    addNumber(fields, "content_number", ebct.content_number);
    addNodes(fields, "contents", ebct.content, describeContent);
    checkCount(tree, "content_number", ebct.content_number, fields.back());
    addSignature(fields, ebct.signature_length, ebct.signature);
}

/* ---- EBCAT and EBCCT ------------------------------------------------------------------------------------------------
 */

void describeEbcat(const ebcatSection &ebcat, ByteView, Standard, DescribedSection &tree)
{
    Fields &fields = tree.fields;
    addHeader(fields, ebcat, "table_id_extension", ebcat.table_id_extension);
    addNumber(fields, "calist_number", ebcat.calist_number);
    addNodes(fields, "calist", ebcat.calist, [](Fields &entry, const ebcatCalist &list) {
        addNumber(entry, "ca_data_length", list.ca_data_length);
        addBlob(entry, "ca_data", list.ca_data, list.ca_data_length);
    });
    addNumber(fields, "ct_number", ebcat.ct_number);
    addNodes(fields, "ct", ebcat.ct, [](Fields &entry, const ebcatCt &ct) {
        addNumber(entry, "ct_data_length", ct.ct_data_length);
        addBlob(entry, "ct_data", ct.ct_data, ct.ct_data_length);
    });
    addSignature(fields, ebcat.signature_length, ebcat.signature);
}

void describeEbcct(const ebcctSection &ebcct, ByteView, Standard, DescribedSection &tree)
{
    Fields &fields = tree.fields;
    addHeader(fields, ebcct, "table_id_extension", ebcct.table_id_extension);
    addNumber(fields, "cmd_number", ebcct.cmd_number);
    addNodes(fields, "commands", ebcct.cmd, [](Fields &entry, const ebcctCmd &command) {
        addHex(entry, "cmd_tag", command.cmd_tag, 2);
        addNumber(entry, "cmd_data_length", command.cmd_data_length);
        addBlob(entry, "cmd_data", command.cmd_data, command.cmd_data_length);
    });
    addSignature(fields, ebcct.signature_length, ebcct.signature);
}

} // namespace

TableReader findEmergencyReader(u8 tableId)
{
    switch (tableId) {
    case 0xFD:
        return readParsed<ebitSection, describeEbit>;
    case 0xFE:
        return readParsed<ebctSection, describeEbct>;
    case 0xFC:
        return readParsed<ebcatSection, describeEbcat>;
    case 0xFB:
        return readParsed<ebcctSection, describeEbcct>;
    default:
        return nullptr;
    }
}

} // namespace psi::describe
