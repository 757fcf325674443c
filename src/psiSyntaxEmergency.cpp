#include "psiSyntax.h"

using namespace psi::core;

namespace {

/* ---- Emergency tables ---- */

/** @brief The 16-bit table_id_extension and the rest of the long header into an emergency record. */
template <class Record> void takeEmergencyHeader(Record *record, Reader &body)
{
    record->table_id_extension = takeHeader(record, body);
}

struct BlobTexts {
    LogText length, memory;
};

/** @brief A byte run whose length stands in front of it, into a pool block of its own. */
template <class Length>
bool takeBlob(Reader &body, u32 n, u8 *&data, Length &length, const BlobTexts &texts, const Keep &keep)
{
    length = static_cast<Length>(n);
    const u8 *bytes = body.takeBytes(n);
    if (body.overrun())
        return refused(texts.length);
    if (!keepBytes(data, length, bytes, n, keep))
        return refused(texts.memory);
    return true;
}

/** @brief An entry goes again when what belongs to it could not be kept. @return `kept` */
template <class Node>
bool keptOrGone(bool kept, Node **head, Node *entry, const NodeTypeOf<Node> &type, const Keep &keep)
{
    if (!kept)
        nodeDestroy(keep.pool, head, entry, type, true);
    return kept;
}

/** @brief The trailing signature of an emergency table. */
template <class Record> bool takeSignature(Record *record, Reader &body, const BlobTexts &texts, const Keep &keep)
{
    return takeBlob(body, body.take16(), record->signature, record->signature_length, texts, keep);
}

/* ---- EBCT ---- */

constexpr ParserTexts syntaxEbctTexts = {
    PSI_TEXT(error, "syntaxAnalyseEbct: ebctSection is NULL!"),  PSI_TEXT(error, "syntaxAnalyseEbct: buf is NULL!"),
    PSI_TEXT(error, "syntaxAnalyseEbct: tsCrcPsi ERROR "),       PSI_TEXT(error, "syntaxAnalyseEbct: tableid ERROR!"),
    PSI_TEXT(error, "syntaxAnalyseEbct: section length ERROR "),
};
constexpr LogText ebctMessageTextMemory = PSI_TEXT(error, "syntaxAnalyseEbct: message_text buddy_malloc failed");
constexpr LogText ebctAgencyNameMemory = PSI_TEXT(error, "syntaxAnalyseEbct: agency_name buddy_malloc failed");
constexpr LogText ebctSignatureMemory = PSI_TEXT(error, "syntaxAnalyseEbct: signature buddy_malloc failed");

/** @brief How a part of an EBCT ended: go on, end the parse with what is there, or fail. */
enum class Ebct { more, truncated, failed };

/** @brief Do `n` more bytes leave none in front of the CRC? Then an EBCT counts as cut short. */
bool passesEnd(const Reader &body, u32 n)
{
    return n >= body.remaining();
}

Ebct keepEbctBytes(u8 *&data, Reader &body, u32 n, const LogText &noMemory, const Keep &keep)
{
    data = copyBytes(keep.pool, body.takeBytes(n), n);
    if (data)
        return Ebct::more;
    schLog(noMemory);
    return Ebct::failed;
}

Ebct takeEbctAuxiliary(ebctContent *content, Reader &body, const Keep &keep)
{
    if (passesEnd(body, 4))
        return Ebct::truncated;
    ebctAuxiliaryData *data = nodeCreat(keep.pool, &content->auxiliaryData, ebctAuxiliaryDataType);
    if (!data) {
        PSI_ERROR("syntaxAnalyseEbct: auxiliaryData buddy_malloc failed");
        return Ebct::failed;
    }
    const u32 word = body.take32();
    data->auxiliary_data_type = static_cast<u8>(word >> 24);
    data->auxiliary_data_length = word & 0x00FFFFFF;
    if (passesEnd(body, data->auxiliary_data_length))
        return Ebct::truncated;
    body.skip(data->auxiliary_data_length); // the bytes themselves are not kept
    return Ebct::more;
}

/** @brief There is a byte at least: the fixed fields and the text end in front of the last one. */
Ebct takeEbctAgency(ebctContent *content, Reader &body, const Keep &keep)
{
    content->agency_name_length = body.take8();
    if (content->agency_name_length == 0)
        return Ebct::more;
    if (passesEnd(body, content->agency_name_length + 1U))
        return Ebct::truncated;
    return keepEbctBytes(content->agency_name, body, content->agency_name_length, ebctAgencyNameMemory, keep);
}

/** @brief A content behind its fixed fields. */
Ebct takeEbctContentBody(ebctContent *content, Reader &body, const Keep &keep)
{
    if (content->message_text_length != 0) {
        if (passesEnd(body, content->message_text_length))
            return Ebct::truncated;
        if (keepEbctBytes(content->message_text, body, content->message_text_length, ebctMessageTextMemory, keep) !=
            Ebct::more)
            return Ebct::failed;
    }
    const Ebct agency = takeEbctAgency(content, body, keep);
    if (agency != Ebct::more)
        return agency;
    if (passesEnd(body, 0))
        return Ebct::truncated;
    content->auxiliary_data_number = body.take8() & 0x0F;
    for (u32 i = 0; i < content->auxiliary_data_number; ++i) {
        const Ebct auxiliary = takeEbctAuxiliary(content, body, keep);
        if (auxiliary != Ebct::more)
            return auxiliary;
    }
    return Ebct::more;
}

Ebct takeEbctContent(ebctSection *ebct, Reader &body, const Keep &keep)
{
    if (passesEnd(body, 10))
        return Ebct::truncated;
    ebctContent *content = nodeCreat(keep.pool, &ebct->content, ebctContentType);
    if (!content) {
        PSI_ERROR("syntaxAnalyseEbct: content buddy_malloc failed!");
        return Ebct::failed;
    }
    content->content_word = body.take32();
    content->content_byte4 = body.take8();
    content->content_byte5 = body.take8();
    content->content_byte6 = body.take8();
    content->content_bits7 = body.take8() & 7;
    content->message_text_length = body.take16();
    const Ebct result = takeEbctContentBody(content, body, keep);
    if (result == Ebct::failed)
        nodeDestroy(keep.pool, &ebct->content, content, ebctContentType, true);
    return result;
}

Ebct takeEbctSignature(ebctSection *ebct, Reader &body, const Keep &keep)
{
    if (passesEnd(body, 2))
        return Ebct::truncated;
    ebct->signature_length = body.take16();
    if (ebct->signature_length == 0)
        return Ebct::more;
    if (passesEnd(body, ebct->signature_length))
        return Ebct::truncated;
    return keepEbctBytes(ebct->signature, body, ebct->signature_length, ebctSignatureMemory, keep);
}

/** @brief The section behind its header. */
Ebct takeEbctBody(ebctSection *ebct, Reader &body, const Keep &keep)
{
    constexpr u32 idLen = sizeof(ebct->ebm_id);
    if (idLen > body.remaining())
        return Ebct::truncated;
    memcpy(ebct->ebm_id, body.takeBytes(idLen), idLen);
    ebct->ebm_id[0] &= 0x0F;
    if (body.remaining() == 0)
        return Ebct::truncated;
    ebct->content_number = body.take8() & 0x0F;
    for (u32 i = 0; i < ebct->content_number; ++i) {
        const Ebct content = takeEbctContent(ebct, body, keep);
        if (content != Ebct::more)
            return content;
    }
    return takeEbctSignature(ebct, body, keep);
}

} // namespace

bool psi::core::syntaxAnalyseEbct(ebctSection *ebct, const u8 *buf, u32 bufLen, const Keep &keep)
{
    if (!openSection(ebct, buf, bufLen, ebctId, ebctId, syntaxEbctTexts))
        return false;
    Reader body(buf + sectionLengthEnd, bufLen - crcLen - sectionLengthEnd);
    takeEmergencyHeader(ebct, body);
    if (body.overrun())
        return true;
    if (ebct->section_number != 0) {
        PSI_INFO("syntaxAnalyseEbct: section number %d is not the first section, so don't ananlyse other byte!",
                 ebct->section_number);
        return true;
    }
    const Ebct end = takeEbctBody(ebct, body, keep);
    if (end != Ebct::more)
        return end != Ebct::failed;
    PSI_INFO("syntaxAnalyseEbct: OK!");
    return true;
}

namespace {

/* ---- EBCAT ---- */

constexpr ParserTexts syntaxEbcatTexts = {
    PSI_TEXT(error, "syntaxAnalyseEbcat: ebcatSection is NULL!"), PSI_TEXT(error, "syntaxAnalyseEbcat: buf is NULL!"),
    PSI_TEXT(error, "syntaxAnalyseEbcat: tsCrcPsi ERROR "),       PSI_TEXT(error, "syntaxAnalyseEbcat: tableid ERROR!"),
    PSI_TEXT(error, "syntaxAnalyseEbcat: section length ERROR "),
};
constexpr BlobTexts ebcatCaDataTexts = {syntaxEbcatTexts.length,
                                        PSI_TEXT(error, "syntaxAnalyseEbcat: ca_data buddy_malloc failed")};
constexpr BlobTexts ebcatCtDataTexts = {syntaxEbcatTexts.length,
                                        PSI_TEXT(error, "syntaxAnalyseEbcat: ct_data buddy_malloc failed")};
constexpr BlobTexts ebcatSignatureTexts = {syntaxEbcatTexts.length,
                                           PSI_TEXT(error, "syntaxAnalyseEbcat: signature buddy_malloc failed")};

bool takeEbcatCalist(ebcatSection *ebcat, Reader &body, const Keep &keep)
{
    ebcatCalist *entry = nodeCreat(keep.pool, &ebcat->calist, ebcatCalistType);
    if (!entry) {
        PSI_ERROR("syntaxAnalyseEbcat: calist buddy_malloc failed");
        return false;
    }
    return keptOrGone(takeBlob(body, body.take16(), entry->ca_data, entry->ca_data_length, ebcatCaDataTexts, keep),
                      &ebcat->calist, entry, ebcatCalistType, keep);
}

bool takeEbcatCt(ebcatSection *ebcat, Reader &body, const Keep &keep)
{
    ebcatCt *entry = nodeCreat(keep.pool, &ebcat->ct, ebcatCtType);
    if (!entry) {
        PSI_ERROR("syntaxAnalyseEbcat: ct buddy_malloc failed");
        return false;
    }
    return keptOrGone(takeBlob(body, body.take8(), entry->ct_data, entry->ct_data_length, ebcatCtDataTexts, keep),
                      &ebcat->ct, entry, ebcatCtType, keep);
}

} // namespace

bool psi::core::syntaxAnalyseEbcat(ebcatSection *ebcat, const u8 *buf, u32 bufLen, const Keep &keep)
{
    if (!openSection(ebcat, buf, bufLen, ebcatId, ebcatId, syntaxEbcatTexts))
        return false;
    Reader body = sectionBody(buf);
    takeEmergencyHeader(ebcat, body);
    ebcat->calist_number = body.take8();
    for (u32 i = 0; i < ebcat->calist_number; ++i)
        if (!takeEbcatCalist(ebcat, body, keep))
            return false;
    ebcat->ct_number = body.take8();
    for (u32 i = 0; i < ebcat->ct_number; ++i)
        if (!takeEbcatCt(ebcat, body, keep))
            return false;
    if (!takeSignature(ebcat, body, ebcatSignatureTexts, keep))
        return false;
    PSI_INFO("syntaxAnalyseEbcat: OK!");
    return true;
}

namespace {

/* ---- EBCCT ---- */

constexpr ParserTexts syntaxEbcctTexts = {
    PSI_TEXT(error, "syntaxAnalyseEbcct: ebcctSection is NULL!"), PSI_TEXT(error, "syntaxAnalyseEbcct: buf is NULL!"),
    PSI_TEXT(error, "syntaxAnalyseEbcct: tsCrcPsi ERROR "),       PSI_TEXT(error, "syntaxAnalyseEbcct: tableid ERROR!"),
    PSI_TEXT(error, "syntaxAnalyseEbcct: section length ERROR "),
};
constexpr BlobTexts ebcctDataTexts = {syntaxEbcctTexts.length,
                                      PSI_TEXT(error, "syntaxAnalyseEbcct: cmd_data buddy_malloc failed")};
constexpr BlobTexts ebcctSignatureTexts = {syntaxEbcctTexts.length,
                                           PSI_TEXT(error, "syntaxAnalyseEbcct: signature buddy_malloc failed")};

bool takeEbcctCmd(ebcctSection *ebcct, Reader &body, const Keep &keep)
{
    ebcctCmd *cmd = nodeCreat(keep.pool, &ebcct->cmd, ebcctCmdType);
    if (!cmd) {
        PSI_ERROR("syntaxAnalyseEbcct: cmd buddy_malloc failed");
        return false;
    }
    cmd->cmd_tag = body.take8();
    return keptOrGone(takeBlob(body, body.take16(), cmd->cmd_data, cmd->cmd_data_length, ebcctDataTexts, keep),
                      &ebcct->cmd, cmd, ebcctCmdType, keep);
}

} // namespace

bool psi::core::syntaxAnalyseEbcct(ebcctSection *ebcct, const u8 *buf, u32 bufLen, const Keep &keep)
{
    if (!openSection(ebcct, buf, bufLen, ebcctId, ebcctId, syntaxEbcctTexts))
        return false;
    Reader body = sectionBody(buf);
    takeEmergencyHeader(ebcct, body);
    ebcct->cmd_number = body.take8();
    for (u32 i = 0; i < ebcct->cmd_number; ++i)
        if (!takeEbcctCmd(ebcct, body, keep))
            return false;
    if (!takeSignature(ebcct, body, ebcctSignatureTexts, keep))
        return false;
    PSI_INFO("syntaxAnalyseEbcct: OK!");
    return true;
}

namespace {

/* ---- EBIT ---- */

constexpr ParserTexts syntaxEbitTexts = {
    PSI_TEXT(error, "syntaxAnalyseEbit: ebitSection is NULL!"),  PSI_TEXT(error, "syntaxAnalyseEbit: buf is NULL!"),
    PSI_TEXT(error, "syntaxAnalyseEbit: tsCrcPsi ERROR "),       PSI_TEXT(error, "syntaxAnalyseEbit: tableid ERROR!"),
    PSI_TEXT(error, "syntaxAnalyseEbit: section length ERROR "),
};
constexpr LogText ebitDescMemory = PSI_TEXT(error, "syntaxAnalyseEbit: descriptor->descData buddy_malloc failed!");
constexpr DescriptorTexts ebitChannelDescTexts = {
    PSI_TEXT(error, "syntaxAnalyseEbit: program_info_length ERROR"),
    PSI_TEXT(error, "syntaxAnalyseEbit: channel->descriptor creat failed! "),
    ebitDescMemory,
};
constexpr DescriptorTexts ebitStreamDescTexts = {
    PSI_TEXT(error, "syntaxAnalyseEbit: es_info_length ERROR"),
    PSI_TEXT(error, "syntaxAnalyseEbit: streamInfo->descriptor creat failed! "),
    ebitDescMemory,
};
constexpr BlobTexts ebitSignatureTexts = {syntaxEbitTexts.length,
                                          PSI_TEXT(error, "syntaxAnalyseEbit: signature buddy_malloc failed")};

/** @brief Copy `n` bytes, or none when they are not there. */
void takeInto(u8 *to, u32 n, Reader &body)
{
    const u8 *bytes = body.takeBytes(n);
    if (bytes)
        memcpy(to, bytes, n);
}

bool takeEbitStream(ebitDetailsChannel *channel, Reader &streams, const Keep &keep)
{
    const StreamEntry entry = takeStreamEntry(streams);
    if (streams.overrun()) {
        PSI_ERROR("syntaxAnalyseEbit: stream_info_length ERROR");
        return false;
    }
    ebitStream *stream = nodeCreat(keep.pool, &channel->stream, ebitStreamType);
    if (!stream) {
        PSI_ERROR("syntaxAnalyseEbit: streamInfo buddy_malloc failed");
        return false;
    }
    stream->stream_type = entry.type;
    stream->elementary_PID = entry.pid;
    stream->ES_info_length = entry.infoLength;
    return takeDescriptors(entry.descriptors, &stream->descriptor, keep, ebitStreamDescTexts);
}

bool takeEbitChannel(ebitMessage *ebm, Reader &body, const Keep &keep)
{
    ebitDetailsChannel *channel = static_cast<ebitDetailsChannel *>(creatRecord(keep.pool, ebitDetailsChannelType));
    if (!channel) {
        PSI_ERROR("syntaxAnalyseEbit: channel create failed");
        return false;
    }
    ebm->channel = channel;
    channel->details_word0 = body.take16();
    channel->details_word1 = body.take16();
    channel->details_word2 = body.take16() & 0x00FF; // the first byte of the field does not count
    channel->details_pid = body.takePid();
    channel->program_info_length = body.takeLength12();
    if (!takeDescriptorLoop(body, channel->program_info_length, &channel->descriptor, ebitChannelDescTexts,
                            syntaxEbitTexts.length, keep))
        return false;
    channel->stream_info_length = body.take16();
    Reader streams = body.takeLoop(channel->stream_info_length);
    if (body.overrun())
        return refused(syntaxEbitTexts.length);
    while (streams.remaining() != 0)
        if (!takeEbitStream(channel, streams, keep))
            return false;
    return true;
}

void takeEbitFixedFields(ebitMessage *ebm, Reader &body)
{
    ebm->ebm_word0 = body.take16();
    takeInto(ebm->ebm_id, sizeof(ebm->ebm_id), body);
    ebm->ebm_id[0] &= 0x0F;
    ebm->ebm_word20 = body.take16();
    ebm->ebm_word22 = body.take16();
    ebm->ebm_value24 = body.take24();
    ebm->ebm_word27 = body.take16();
    ebm->ebm_value29 = body.take24();
    takeInto(ebm->ebm_bytes32, sizeof(ebm->ebm_bytes32), body);
    const u8 nibbles = body.take8();
    ebm->ebm_high37 = nibbles >> 4;
    ebm->ebm_low37 = nibbles & 0x0F;
    ebm->resource_number = body.take8();
}

bool takeEbitResource(ebitMessage *ebm, Reader &body, const Keep &keep)
{
    ebitResource *resource = nodeCreat(keep.pool, &ebm->resource, ebitResourceType);
    if (!resource) {
        PSI_ERROR("syntaxAnalyseEbit: resource create failed");
        return false;
    }
    takeInto(resource->resource_code, sizeof(resource->resource_code), body);
    resource->resource_code[0] &= 0x0F;
    if (body.overrun())
        return refused(syntaxEbitTexts.length);
    return true;
}

bool takeEbitMessageBody(ebitMessage *ebm, Reader &body, const Keep &keep)
{
    takeEbitFixedFields(ebm, body);
    if (body.overrun())
        return refused(syntaxEbitTexts.length);
    for (u32 i = 0; i < ebm->resource_number; ++i)
        if (!takeEbitResource(ebm, body, keep))
            return false;
    ebm->details_channel_flag = body.take8() & 1;
    if (body.overrun())
        return refused(syntaxEbitTexts.length);
    return !ebm->details_channel_flag || takeEbitChannel(ebm, body, keep);
}

bool takeEbitMessage(ebitSection *ebit, Reader &body, const Keep &keep)
{
    ebitMessage *ebm = nodeCreat(keep.pool, &ebit->message, ebitMessageType);
    if (!ebm) {
        PSI_ERROR("syntaxAnalyseEbit: ebm buddy_malloc failed!");
        return false;
    }
    return keptOrGone(takeEbitMessageBody(ebm, body, keep), &ebit->message, ebm, ebitMessageType, keep);
}

} // namespace

bool psi::core::syntaxAnalyseEbit(ebitSection *ebit, const u8 *buf, u32 bufLen, const Keep &keep)
{
    if (!openSection(ebit, buf, bufLen, ebitId, ebitId, syntaxEbitTexts))
        return false;
    Reader body = sectionBody(buf);
    takeEmergencyHeader(ebit, body);
    ebit->ebm_number = body.take8();
    for (u32 i = 0; i < ebit->ebm_number; ++i)
        if (!takeEbitMessage(ebit, body, keep))
            return false;
    if (!takeSignature(ebit, body, ebitSignatureTexts, keep))
        return false;
    PSI_INFO("syntaxAnalyseEbit: OK!");
    return true;
}
