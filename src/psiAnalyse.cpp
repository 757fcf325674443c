#include "psiInternal.h"
#include "psiReader.h"
#include "psiTables.h"

using namespace psi::core;

/* ------------------------------------------------------------------------------------------------------------------
 * What analysers and parsers share: the section's body, its header, its descriptor loops
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

i32 fail(const LogText &text)
{
    schLog(text);
    return -1;
}

u32 sectionLength(const u8 *section)
{
    return beU16(section + 1) & 0x0FFFU;
}

/** @brief What stands between section_length and CRC_32 of a section that has passed psiCheckCrc(). */
Reader sectionBody(const u8 *section)
{
    return Reader(section + sectionLengthEnd, sectionLength(section) - crcLen);
}

/** @brief The header of a long section behind section_length. ISO/IEC 13818-1 2.4.4.11. */
struct LongHeader {
    u16 tableIdExt;
    u8 version;
    u8 currentNext;
    u8 sectionNumber;
    u8 lastSectionNumber;
};

LongHeader takeLongHeader(Reader &body)
{
    LongHeader header;
    header.tableIdExt = body.take16();
    const u8 flags = body.take8();
    header.version = flags >> 1 & 0x1F;
    header.currentNext = flags & 1;
    header.sectionNumber = body.take8();
    header.lastSectionNumber = body.take8();
    return header;
}

/** @brief Does a model or tree point into the section, or own a copy? */
enum class Keep { reference, copy };

/**
 * @brief Keep a byte run: a pointer into the section, or a copy in a pool block (null when it is empty).
 * @return false when the pool is exhausted: then the run is null with length 0
 */
template <class Length> bool keepBytes(u8 *&data, Length &len, const u8 *bytes, u32 n, Keep keep)
{
    data = nullptr;
    len = 0;
    if (keep == Keep::reference) {
        data = const_cast<u8 *>(bytes); // the section's owner handed it out writable
    } else if (n != 0) {
        data = static_cast<u8 *>(psi_buddy_malloc(n));
        if (!data)
            return false;
        memcpy(data, bytes, n);
    }
    len = static_cast<Length>(n);
    return true;
}

/** @brief One descriptor of a loop. ISO/IEC 13818-1 2.6. */
struct Descriptor {
    u8 tag;
    u8 len;
    const u8 *bytes;
};

/** @brief The next descriptor of a loop. @return false when it runs past the loop's end */
bool takeDescriptor(Reader &loop, Descriptor &descriptor)
{
    descriptor.tag = loop.take8();
    descriptor.len = loop.take8();
    descriptor.bytes = loop.takeBytes(descriptor.len);
    return !loop.overrun();
}

struct DescriptorTexts {
    LogText length, creat, memory;
};

i32 addDescriptor(descInfo **head, const Descriptor &descriptor, Keep keep, const DescriptorTexts &texts)
{
    descInfo *node = descInfoCreat(head);
    if (!node)
        return fail(texts.creat);
    node->descTag = descriptor.tag;
    if (!keepBytes(node->descData, node->descLen, descriptor.bytes, descriptor.len, keep)) {
        schLog(texts.memory);
        descInfoDestroy(head, node, 0);
        return -1;
    }
    return 0;
}

struct CaTexts {
    LogText tooShort, creat, memory;
};

constexpr u8 caDescriptorTag = 0x09;

/** @brief A CA_descriptor. ISO/IEC 13818-1 2.6.16. */
i32 addCa(caInfo **head, const Descriptor &descriptor, Keep keep, const CaTexts &texts)
{
    if (descriptor.len < 4)
        return fail(texts.tooShort);
    caInfo *node = caInfoCreat(head);
    if (!node)
        return fail(texts.creat);
    Reader payload(descriptor.bytes, descriptor.len);
    node->caSystemId = payload.take16();
    node->caPid = payload.takePid();
    if (!keepBytes(node->privateData, node->privateLen, payload.position(), payload.remaining(), keep)) {
        schLog(texts.memory);
        caInfoDestroy(head, node, 0);
        return -1;
    }
    return 0;
}

/**
 * @brief Go through a descriptor loop.
 * @param tooLong logged when a descriptor runs past the loop's end
 * @param take called with every descriptor; -1 ends the loop
 */
template <class Take> i32 forEachDescriptor(Reader loop, const LogText &tooLong, Take take)
{
    while (loop.remaining() != 0) {
        Descriptor descriptor;
        if (!takeDescriptor(loop, descriptor))
            return fail(tooLong);
        if (take(descriptor) == -1)
            return -1;
    }
    return 0;
}

/** @brief A loop whose descriptors all go to one list. */
i32 takeDescriptors(Reader loop, descInfo **head, Keep keep, const DescriptorTexts &texts)
{
    return forEachDescriptor(
        loop, texts.length, [&](const Descriptor &descriptor) { return addDescriptor(head, descriptor, keep, texts); });
}

/** @brief Where the descriptors of a loop go whose CA descriptors have a list of their own. */
struct CaLoop {
    caInfo **caHead;
    descInfo **descHead;
    u8 *caFlag; /**< gets `caBit` with every CA descriptor; null when nobody asks */
    u8 caBit;
    const CaTexts &caTexts;
    const DescriptorTexts &texts;
};

i32 addToCaLoop(const CaLoop &to, const Descriptor &descriptor, Keep keep)
{
    if (descriptor.tag != caDescriptorTag)
        return addDescriptor(to.descHead, descriptor, keep, to.texts);
    if (addCa(to.caHead, descriptor, keep, to.caTexts) == -1)
        return -1;
    if (to.caFlag)
        *to.caFlag = static_cast<u8>(*to.caFlag | to.caBit);
    return 0;
}

i32 takeCaLoop(Reader loop, const CaLoop &to, Keep keep)
{
    return forEachDescriptor(loop, to.texts.length,
                             [&](const Descriptor &descriptor) { return addToCaLoop(to, descriptor, keep); });
}

} // namespace

/* ------------------------------------------------------------------------------------------------------------------
 * Analysis: sections into the model
 * ---------------------------------------------------------------------------------------------------------------- */

const char *psi::core::makeStr(const u8 *bytes, u32 len, char (&buf)[maxPrintedName])
{
    const u32 n = !bytes ? 0 : len < maxPrintedName ? len : maxPrintedName - 1;
    if (n != 0)
        memcpy(buf, bytes, n);
    buf[n] = '\0';
    return buf;
}

namespace {

struct AnalyserTexts {
    LogText noModel, noSection, crc, length;
};

bool checkArguments(const tsInfo *model, const sectionData *section, const AnalyserTexts &texts)
{
    const LogText *failure = !model ? &texts.noModel : !section ? &texts.noSection : nullptr;
    if (failure)
        schLog(*failure);
    return !failure;
}

/** @brief The gate in front of every analyser. */
bool checkCrc(const sectionData *section, const AnalyserTexts &texts)
{
    if (psiCheckCrc(section->buf, section->len) == 0)
        return true;
    schLog(texts.crc);
    return false;
}

void storeHead(psiHead &head, const LongHeader &header)
{
    head.version_number = header.version;
    head.current_next = header.currentNext;
    head.section_number = header.sectionNumber;
    head.last_section_number = header.lastSectionNumber;
}

u8 syntaxIndicator(const u8 *section)
{
    return section[1] >> 7;
}

/* ---- PAT. ISO/IEC 13818-1 2.4.4.3 ---- */

constexpr AnalyserTexts patTexts = {
    PSI_TEXT(error, "analysePat: tsInfo is NULL!"),
    PSI_TEXT(error, "analysePat: psiSectionData is NULL!"),
    PSI_TEXT(error, "analysePat: tsCrcPsi ERROR"),
    PSI_TEXT(error, "analysePat: section length ERROR"),
};

/** @brief Section 0 names the transport stream; the others must belong to it. */
i32 takePatHeader(tsInfo *model, const LongHeader &header)
{
    if (header.sectionNumber == 0) {
        model->tsId = header.tableIdExt;
    } else if (header.tableIdExt != model->tsId) {
        PSI_ERROR("analysePat: sectionNo is %u, tsInfo->tsId is %u ERROR", header.sectionNumber, model->tsId);
        return -1;
    }
    PSI_INFO("analysePat: tsId = 0x%x!", static_cast<unsigned>(model->tsId));
    storeHead(model->patHead, header);
    return 0;
}

i32 addPatEntry(tsInfo *model, u16 programNumber, u16 pid)
{
    if (programNumber == 0) {
        PSI_INFO("netpid = %u", pid);
        model->netPid = pid;
        model->netFlag = 1;
        return 0;
    }
    progInfo *prog = progInfoCreat(&model->progList);
    if (!prog) {
        PSI_ERROR("analysePat progInfo creat failed !");
        return -1;
    }
    prog->progNo = programNumber;
    prog->pmtPid = pid;
    PSI_INFO("analysePat: prognumber = 0x%x", static_cast<unsigned>(prog->progNo));
    PSI_INFO("analysePat: pmtpid = 0x%x", static_cast<unsigned>(prog->pmtPid));
    return 0;
}

i32 analysePat(tsInfo *model, const sectionData *section)
{
    constexpr u32 shortestPat = 10;
    if (!checkArguments(model, section, patTexts) || !checkCrc(section, patTexts))
        return -1;
    if (section->buf[0] != 0x00) {
        PSI_ERROR("analysePat tableid ERROR");
        return -1;
    }
    model->patHead.syntax_indicator = syntaxIndicator(section->buf);
    Reader body = sectionBody(section->buf);
    const LongHeader header = takeLongHeader(body);
    if (!body.overrun() && takePatHeader(model, header) == -1)
        return -1;
    const u32 section_length = sectionLength(section->buf);
    if (section_length < shortestPat) {
        PSI_ERROR("analysePat: section length is %u ERROR", static_cast<unsigned>(section_length));
        return -1;
    }
    while (body.remaining() != 0) {
        const u16 programNumber = body.take16();
        const u16 pid = body.takePid();
        if (body.overrun())
            return fail(patTexts.length);
        if (addPatEntry(model, programNumber, pid) == -1)
            return -1;
    }
    PSI_INFO("analysePat: OK!");
    return 0;
}

/* ---- PMT. ISO/IEC 13818-1 2.4.4.8 ---- */

constexpr AnalyserTexts pmtTexts = {
    PSI_TEXT(error, "analysePmt: tsInfo is NULL!"),
    PSI_TEXT(error, "analysePmt: psiSectionData is NULL!"),
    PSI_TEXT(error, "analysePmt: tsCrcPsi ERROR"),
    PSI_TEXT(error, "analysePmt: section length ERROR"),
};
constexpr CaTexts pmtProgCaTexts = {
    PSI_TEXT(error, "analysePmt: caInfo desc_len < 4, ERROR"),
    PSI_TEXT(error, "analysePmt: prog caInfo creat failed!"),
    PSI_TEXT(error, "analysePmt: prog caInfo->privateData buddy_malloc failed!"),
};
constexpr DescriptorTexts pmtProgDescTexts = {
    PSI_TEXT(error, "analysePmt: prog_desc_len ERROR"),
    PSI_TEXT(error, "analysePmt: prog descInfo creat failed!"),
    PSI_TEXT(error, "analysePmt: prog descInfo->descData buddy_malloc failed!"),
};
constexpr CaTexts pmtEsCaTexts = {
    PSI_TEXT(error, "analysePmt: caInfo desc_len < 4, ERROR"),
    PSI_TEXT(error, "analysePmt: prog caInfo creat failed!"),
    PSI_TEXT(error, "analysePmt: es caInfo->privateData buddy_malloc failed!"),
};
constexpr DescriptorTexts pmtEsDescTexts = {
    PSI_TEXT(error, "analysePmt: es_desc_len ERROR"),
    PSI_TEXT(error, "analysePmt: es descInfo creat failed!"),
    PSI_TEXT(error, "analysePmt: es descInfo->descData buddy_malloc failed!"),
};

constexpr u8 caAtProgram = 1;
constexpr u8 caAtStream = 2;

i32 takePmtStream(progInfo *prog, Reader &body, Keep keep)
{
    const u8 streamType = body.take8();
    const u16 pid = body.takePid();
    const u16 infoLength = body.takeLength12();
    Reader loop = body.takeLoop(infoLength);
    if (body.overrun()) {
        PSI_ERROR("analysePmt: es_info_len ERROR");
        return -1;
    }
    esInfo *es = esInfoCreat(&prog->esList);
    if (!es) {
        PSI_ERROR("analysePmt: esInfo creat failed!");
        return -1;
    }
    es->esType = streamType;
    es->esPid = pid;
    PSI_INFO("analysePmt: espid = 0x%x, esType = 0x%x", static_cast<unsigned>(pid), static_cast<unsigned>(streamType));
    return takeCaLoop(loop, {&es->caList, &es->descList, &prog->caFlag, caAtStream, pmtEsCaTexts, pmtEsDescTexts},
                      keep);
}

i32 takePmtBody(progInfo *prog, Reader &body, Keep keep)
{
    const u16 pcrPid = body.takePid();
    if (body.overrun())
        return fail(pmtTexts.length);
    prog->pcrPid = pcrPid;
    PSI_INFO("analysePmt: pcrpid = 0x%x", static_cast<unsigned>(prog->pcrPid));
    Reader loop = body.takeLoop(body.takeLength12());
    if (body.overrun()) {
        PSI_ERROR("analysePmt: program_info_length ERROR");
        return -1;
    }
    prog->caFlag = 0;
    const CaLoop to = {&prog->caList, &prog->pmtDescList, &prog->caFlag, caAtProgram, pmtProgCaTexts, pmtProgDescTexts};
    if (takeCaLoop(loop, to, keep) == -1)
        return -1;
    while (body.remaining() != 0)
        if (takePmtStream(prog, body, keep) == -1)
            return -1;
    prog->pmtValid = 1;
    PSI_INFO("analysePmt: OK!");
    return 0;
}

i32 analysePmt(tsInfo *model, const sectionData *section, Keep keep)
{
    if (!checkArguments(model, section, pmtTexts))
        return -1;
    PSI_INFO("analysePmt start, prognumber = %u", section->idExt);
    if (!checkCrc(section, pmtTexts) || section->buf[0] != 0x02)
        return -1;
    progInfo *prog = getProgInfo(model, section->idExt);
    if (!prog) {
        PSI_ERROR("analysePmt: getProgInfo failed!");
        return -1;
    }
    Reader body = sectionBody(section->buf);
    prog->pmtCrc = beU32(body.position() + body.remaining());
    prog->pmtHead.syntax_indicator = syntaxIndicator(section->buf);
    const LongHeader header = takeLongHeader(body);
    if (body.overrun())
        return fail(pmtTexts.length);
    if (header.tableIdExt != prog->progNo) {
        PSI_ERROR("analysePmt: progNo ERROR");
        return -1;
    }
    storeHead(prog->pmtHead, header);
    return takePmtBody(prog, body, keep);
}

/* ---- CAT. ISO/IEC 13818-1 2.4.4.6 ---- */

constexpr AnalyserTexts catTexts = {
    PSI_TEXT(error, "analyseCat: tsInfo is NULL!"),
    PSI_TEXT(error, "analysCat: psiSectionData is NULL!"),
    PSI_TEXT(error, "analyseCat: tsCrcPsi ERROR"),
    PSI_TEXT(error, "analyseCat: section length ERROR"),
};
constexpr CaTexts catCaTexts = {
    PSI_TEXT(error, "analyseCat: caInfo desc_len < 4, ERROR"),
    PSI_TEXT(error, "analyseCat: stream caInfo creat failed!"),
    PSI_TEXT(error, "analyseCat: caInfo->privateData buddy_malloc failed!"),
};
constexpr DescriptorTexts catDescTexts = {
    PSI_TEXT(error, "analyseCat: desc_len ERROR"),
    PSI_TEXT(error, "analyseCat: stream descInfo creat failed!"),
    PSI_TEXT(error, "analyseCat: descInfo->descData buddy_malloc failed!"),
};

i32 analyseCat(tsInfo *model, const sectionData *section, Keep keep)
{
    if (!checkArguments(model, section, catTexts) || !checkCrc(section, catTexts))
        return -1;
    if (section->buf[0] != 0x01) {
        PSI_ERROR("analyseCat: tableid ERROR");
        return -1;
    }
    model->catHead.syntax_indicator = syntaxIndicator(section->buf);
    Reader body = sectionBody(section->buf);
    const LongHeader header = takeLongHeader(body);
    if (body.overrun())
        return fail(catTexts.length);
    storeHead(model->catHead, header);
    if (takeCaLoop(body, {&model->catCaList, &model->catDescList, nullptr, 0, catCaTexts, catDescTexts}, keep) == -1)
        return -1;
    PSI_INFO("analyseCat: OK!");
    return 0;
}

/* ---- SDT actual. EN 300 468 5.2.3 ---- */

constexpr AnalyserTexts sdtTexts = {
    PSI_TEXT(error, "analyseSdta: tsInfo is NULL!"),
    PSI_TEXT(error, "analyseSdta: psiSectionData is NULL!"),
    PSI_TEXT(error, "analyseSdta: tsCrcPsi ERROR"),
    PSI_TEXT(error, "analyseSdta: section length ERROR"),
};
constexpr DescriptorTexts sdtDescTexts = {
    PSI_TEXT(error, "analyseSdta: desc_len ERROR"),
    PSI_TEXT(error, "analyseSdta: descInfo creat failed!"),
    PSI_TEXT(error, "analyseSdta: prog descInfo->descData buddy_malloc failed!"),
};

constexpr u8 serviceDescriptorTag = 0x48;

/** @brief The fields of a service in an SDT in front of its descriptors. EN 300 468 5.2.3. */
struct ServiceFields {
    u16 serviceId;
    u8 eitSchedule;
    u8 eitPresentFollowing;
    u8 runningStatus;
    u8 freeCaMode;
    u16 descriptorsLoopLength;
};

ServiceFields takeServiceFields(Reader &body)
{
    ServiceFields fields;
    fields.serviceId = body.take16();
    const u8 eit = body.take8();
    fields.eitSchedule = eit >> 1 & 1;
    fields.eitPresentFollowing = eit & 1;
    const u16 word = body.take16();
    fields.runningStatus = static_cast<u8>(word >> 13);
    fields.freeCaMode = word >> 12 & 1;
    fields.descriptorsLoopLength = word & 0x0FFF;
    return fields;
}

/** @brief As many of `n` bytes as there are. */
Reader takeUpTo(Reader &reader, u32 n)
{
    return reader.takeLoop(n < reader.remaining() ? n : reader.remaining());
}

/** @brief A service_descriptor, EN 300 468 6.2.33. Names that do not fit are cut at its end. */
i32 takeServiceDescriptor(progInfo *prog, const Descriptor &descriptor, Keep keep)
{
    if (descriptor.len < 3) {
        PSI_ERROR("analyseSdta: service desc_len < 3, ERROR");
        return -1;
    }
    Reader payload(descriptor.bytes, descriptor.len);
    prog->prog_type = payload.take8();
    const Reader provider = takeUpTo(payload, payload.take8());
    if (!keepBytes(prog->pname, prog->pnameLen, provider.position(), provider.remaining(), keep)) {
        PSI_ERROR("analyseSdt: progInfo->pname buddy_malloc failed!");
        return -1;
    }
    const u8 nameLength = payload.remaining() != 0 ? payload.take8() : u8{0};
    const Reader name = takeUpTo(payload, nameLength);
    if (!keepBytes(prog->sname, prog->snameLen, name.position(), name.remaining(), keep)) {
        PSI_ERROR("analyseSdt: progInfo->sname buddy_malloc failed!");
        return -1;
    }
    char text[maxPrintedName];
    PSI_INFO("analyseSdta: prog_type = %u", prog->prog_type);
    PSI_INFO("analyseSdta: service name = %s", makeStr(prog->sname, prog->snameLen, text));
    PSI_INFO("analyseSdta: provider name = %s", makeStr(prog->pname, prog->pnameLen, text));
    return 0;
}

i32 takeServiceLoop(progInfo *prog, Reader loop, Keep keep)
{
    return forEachDescriptor(loop, sdtDescTexts.length, [&](const Descriptor &descriptor) {
        return descriptor.tag == serviceDescriptorTag
                   ? takeServiceDescriptor(prog, descriptor, keep)
                   : addDescriptor(&prog->sdtDescList, descriptor, keep, sdtDescTexts);
    });
}

i32 takeService(tsInfo *model, Reader &body, Keep keep)
{
    const ServiceFields fields = takeServiceFields(body);
    Reader loop = body.takeLoop(fields.descriptorsLoopLength);
    if (body.overrun()) {
        PSI_ERROR("analyseSdta: service descLoopLen ERROR");
        return -1;
    }
    progInfo *prog = getProgInfo(model, fields.serviceId);
    if (!prog) {
        PSI_WARNING("analyseSdta: progInfo get ERROR, progNo is 0x%x!", static_cast<unsigned>(fields.serviceId));
        return 0;
    }
    prog->EIT_flag = fields.eitSchedule;
    prog->EIT_pre_flag = fields.eitPresentFollowing;
    prog->run_stat = fields.runningStatus;
    prog->ca_mode = fields.freeCaMode;
    PSI_INFO("analyseSdta: progNo = %u", prog->progNo);
    PSI_INFO("analyseSdta: EIT_flag = %u", prog->EIT_flag);
    PSI_INFO("analyseSdta: EIT_pre_flag = %u", prog->EIT_pre_flag);
    PSI_INFO("analyseSdta: run_stat = %u", prog->run_stat);
    PSI_INFO("analyseSdta: ca_mode = %u", prog->ca_mode);
    return takeServiceLoop(prog, loop, keep);
}

i32 analyseSdta(tsInfo *model, const sectionData *section, Keep keep)
{
    if (!checkArguments(model, section, sdtTexts) || !checkCrc(section, sdtTexts))
        return -1;
    if (section->buf[0] != 0x42) {
        PSI_ERROR("analyseSdta: tableid ERROR");
        return -1;
    }
    model->sdtHead.syntax_indicator = syntaxIndicator(section->buf);
    Reader body = sectionBody(section->buf);
    const LongHeader header = takeLongHeader(body);
    const u16 originalNetworkId = body.take16();
    body.skip(1); // reserved_future_use
    if (body.overrun())
        return fail(sdtTexts.length);
    model->tsId = header.tableIdExt;
    storeHead(model->sdtHead, header);
    model->orNetId = originalNetworkId;
    PSI_INFO("analyseSdta: tsId = 0x%x", static_cast<unsigned>(model->tsId));
    PSI_INFO("analyseSdta: orNetId = 0x%x", static_cast<unsigned>(model->orNetId));
    while (body.remaining() != 0)
        if (takeService(model, body, keep) == -1)
            return -1;
    PSI_INFO("analyseSdta: OK!");
    return 0;
}

/* ---- NIT actual. EN 300 468 5.2.1 ---- */

constexpr AnalyserTexts nitTexts = {
    PSI_TEXT(error, "analyseNita: tsInfo is NULL!"),
    PSI_TEXT(error, "analyseNita: psiSectionData is NULL!"),
    PSI_TEXT(error, "analyseNita: tsCrcPsi ERROR"),
    PSI_TEXT(error, "analyseNita: section length ERROR"),
};

constexpr u8 networkNameDescriptorTag = 0x40;

i32 takeNetworkName(tsInfo *model, const Descriptor &descriptor, Keep keep)
{
    model->netnameLen = descriptor.len;
    if (descriptor.len != 0 && !keepBytes(model->netname, model->netnameLen, descriptor.bytes, descriptor.len, keep)) {
        PSI_ERROR("analyseNita: tsInfo->netname buddy_malloc failed!");
        return -1;
    }
    char text[maxPrintedName];
    PSI_INFO("analyseNita: network name = %s", makeStr(model->netname, model->netnameLen, text));
    return 0;
}

i32 analyseNita(tsInfo *model, const sectionData *section, Keep keep)
{
    if (!checkArguments(model, section, nitTexts) || !checkCrc(section, nitTexts) || section->buf[0] != 0x40)
        return -1;
    Reader body = sectionBody(section->buf);
    const LongHeader header = takeLongHeader(body);
    if (body.overrun())
        return fail(nitTexts.length);
    model->netId = header.tableIdExt;
    PSI_INFO("analyseNita: netId = 0x%x", static_cast<unsigned>(model->netId));
    Reader loop = body.takeLoop(body.takeLength12());
    if (body.remaining() < 2) { // transport_stream_loop_length follows
        PSI_ERROR("analyseNita network_descriptors_length ERROR");
        return -1;
    }
    while (loop.remaining() != 0) {
        Descriptor descriptor;
        if (!takeDescriptor(loop, descriptor)) {
            PSI_ERROR("analyseNita net_desc_len ERROR ");
            return -1;
        }
        if (descriptor.tag == networkNameDescriptorTag)
            return takeNetworkName(model, descriptor, keep);
    }
    PSI_INFO("analyseNita: OK!");
    return 0;
}

/* ---- Terrestrial VCT. A/65 6.3.1 ---- */

constexpr AnalyserTexts vctTexts = {
    PSI_TEXT(error, "analyseVct: tsInfo is NULL!"),
    PSI_TEXT(error, "analyseVct: psiSectionData is NULL!"),
    PSI_TEXT(error, "analyseVct: tsCrcPsi ERROR "),
    PSI_TEXT(error, "analyseVct: desc_len ERROR "),
};
constexpr DescriptorTexts vctChannelDescTexts = {
    PSI_TEXT(error, "analyseVct: desc_len ERROR "),
    PSI_TEXT(error, "analyseVct: descInfo creat failed! "),
    PSI_TEXT(error, "analyseVct: prog descInfo->descData buddy_malloc failed!"),
};
constexpr DescriptorTexts vctDescTexts = {
    PSI_TEXT(error, "analyseVct: desc_len ERROR "),
    PSI_TEXT(error, "analyseVct: descInfo creat failed! "),
    PSI_TEXT(error, "analyseVct: descInfo->descData buddy_malloc failed!"),
};

/** @brief A loop length of the VCT: 10 bits behind 6 reserved ones. */
u16 takeLength10(Reader &body)
{
    return body.take16() & 0x03FF;
}

/** @brief Virtual channels carry a name of seven UTF-16 code units. */
constexpr u32 shortNameLen = 14;

/** @brief The fields of a channel in front of its descriptors. A/65 table 6.4. */
struct ChannelFields {
    const u8 *shortName;
    u16 major;
    u16 minor;
    u8 modulationMode;
    u16 channelTsid;
    u16 programNumber;
    u8 serviceType;
    u16 sourceId;
    u16 descriptorsLength;
};

ChannelFields takeChannelFields(Reader &body)
{
    ChannelFields fields;
    fields.shortName = body.takeBytes(shortNameLen);
    const u32 numbers = body.take24(); // 4 reserved bits, 10 of the major and 10 of the minor number
    fields.major = numbers >> 10 & 0x03FF;
    fields.minor = numbers & 0x03FF;
    fields.modulationMode = body.take8();
    body.skip(4); // carrier_frequency
    fields.channelTsid = body.take16();
    fields.programNumber = body.take16();
    const u16 flags = body.take16(); // ETM_location to service_type
    fields.serviceType = flags & 0x3F;
    fields.sourceId = body.take16();
    fields.descriptorsLength = takeLength10(body);
    return fields;
}

i32 takeChannel(tsInfo *model, Reader &body, Keep keep)
{
    const ChannelFields fields = takeChannelFields(body);
    if (body.overrun())
        return fail(vctTexts.length);
    progInfo *prog = getProgInfo(model, fields.programNumber);
    if (!prog) {
        PSI_ERROR("analyseVct: progInfo get ERROR, progNo is %u! ", fields.programNumber);
        return -1;
    }
    if (!keepBytes(prog->sname, prog->snameLen, fields.shortName, shortNameLen, keep)) {
        PSI_ERROR("analyseVct: progInfo->sname buddy_malloc failed!");
        return -1;
    }
    prog->major_channel_number = fields.major;
    prog->minor_channel_number = fields.minor;
    prog->modulation_mode = fields.modulationMode;
    prog->channel_TSID = fields.channelTsid;
    prog->service_type = fields.serviceType;
    prog->source_id = fields.sourceId;
    Reader loop = body.takeLoop(fields.descriptorsLength);
    if (body.overrun())
        return fail(vctTexts.length);
    return takeDescriptors(loop, &prog->sdtDescList, keep, vctChannelDescTexts);
}

i32 analyseVct(tsInfo *model, const sectionData *section, Keep keep)
{
    if (!checkArguments(model, section, vctTexts) || !checkCrc(section, vctTexts) || section->buf[0] != 0xC8)
        return -1;
    model->sdtHead.syntax_indicator = syntaxIndicator(section->buf);
    Reader body = sectionBody(section->buf);
    const LongHeader header = takeLongHeader(body);
    body.skip(1); // protocol_version
    const u8 channels = body.take8();
    if (body.overrun())
        return fail(vctTexts.length);
    model->tsId = header.tableIdExt;
    PSI_INFO("analyseVct: tsId = 0x%x", static_cast<unsigned>(model->tsId));
    storeHead(model->sdtHead, header);
    for (u32 i = 0; i < channels; ++i)
        if (takeChannel(model, body, keep) == -1)
            return -1;
    Reader loop = body.takeLoop(takeLength10(body));
    if (body.overrun())
        return fail(vctTexts.length);
    if (takeDescriptors(loop, &model->vctDescList, keep, vctDescTexts) == -1)
        return -1;
    PSI_INFO("analyseVct: OK!");
    return 0;
}

i32 runAnalyser(tsInfo *model, const sectionData *section, Keep keep)
{
    switch (section->psiType) {
    case PSI_PAT:
        return analysePat(model, section);
    case PSI_PMT:
        return analysePmt(model, section, keep);
    case PSI_SDT_ACTUAL:
        return analyseSdta(model, section, keep);
    case PSI_NIT_ACTUAL:
        return analyseNita(model, section, keep);
    case PSI_CAT:
        return analyseCat(model, section, keep);
    case PSI_VCT:
        return analyseVct(model, section, keep);
    default:
        PSI_INFO("analysePsi: psiType = %u, not support!", section->psiType);
        return 0;
    }
}

} // namespace

i32 analysePsi(tsInfo *model, sectionData *section, u32 ioFlag)
{
    if (!model) {
        PSI_ERROR("analysePsi: tsInfo is NULL!");
        return -1;
    }
    if (!section) {
        PSI_ERROR("analysePsi: psiSectionData is NULL!");
        return -1;
    }
    const u32 flag = ioFlag & 0xFF;
    if (flag > 1) {
        PSI_ERROR("analysePsi: ioFlag value error!");
        return -1;
    }
    return runAnalyser(model, section, flag == 1 ? Keep::copy : Keep::reference);
}

/* ------------------------------------------------------------------------------------------------------------------
 * Parsers: sections into syntax trees
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

struct ParserTexts {
    LogText noRecord, noBuffer, crc, tableId, length;
};

/**
 * @brief The gate in front of every parser: arguments, CRC and table_id; stores what they all store.
 * @param otherId a second table_id that the parser accepts, or the first again
 */
template <class Record>
i32 openSection(Record *record, const u8 *buf, u32 bufLen, u8 id, u8 otherId, const ParserTexts &texts)
{
    if (!record)
        return fail(texts.noRecord);
    if (!buf)
        return fail(texts.noBuffer);
    if (psiCheckCrc(buf, bufLen) == -1)
        return fail(texts.crc);
    record->CRC_32 = beU32(buf + bufLen - crcLen);
    record->table_id = buf[0];
    if (record->table_id != id && record->table_id != otherId)
        return fail(texts.tableId);
    record->section_syntax_indicator = syntaxIndicator(buf);
    record->section_length = static_cast<u16>(sectionLength(buf));
    return 0;
}

/** @brief The long header into a record. @return table_id_extension */
template <class Record> u16 takeHeader(Record *record, Reader &body)
{
    const LongHeader header = takeLongHeader(body);
    record->version_number = header.version;
    record->current_next_indicator = header.currentNext;
    record->section_number = header.sectionNumber;
    record->last_section_number = header.lastSectionNumber;
    return header.tableIdExt;
}

/** @brief A loop of `length` bytes. @return -1 when it runs past the section's end or a descriptor past its own */
i32 takeDescriptorLoop(Reader &body, u16 length, descInfo **head, const DescriptorTexts &texts,
                       const LogText &sectionEnd)
{
    const Reader loop = body.takeLoop(length);
    if (body.overrun())
        return fail(sectionEnd);
    return takeDescriptors(loop, head, Keep::copy, texts);
}

/* ---- PAT. ISO/IEC 13818-1 2.4.4.3 ---- */

constexpr ParserTexts syntaxPatTexts = {
    PSI_TEXT(error, "syntaxAnalysePat: pmtSection is NULL!"),   PSI_TEXT(error, "syntaxAnalysePat: buf is NULL!"),
    PSI_TEXT(error, "syntaxAnalysePat: tsCrcPsi ERROR "),       PSI_TEXT(error, "syntaxAnalysePat: tableid ERROR "),
    PSI_TEXT(error, "syntaxAnalysePat: section length ERROR "),
};

i32 takePatProgram(patSection *pat, Reader &body)
{
    const u16 programNumber = body.take16();
    const u16 pid = body.takePid();
    if (body.overrun())
        return fail(syntaxPatTexts.length);
    psiPatProg *prog = psiPatProgCreat(&pat->prog_info);
    if (!prog) {
        PSI_ERROR("syntaxAnalysePat progInfo creat failed !");
        return -1;
    }
    prog->program_number = programNumber;
    prog->program_map_PID = pid;
    PSI_INFO("syntaxAnalysePat: prognumber = %u ", prog->program_number);
    PSI_INFO("syntaxAnalysePat: pmtpid = %u ", prog->program_map_PID);
    return 0;
}

i32 syntaxAnalysePat(patSection *pat, const u8 *buf, u32 bufLen)
{
    constexpr u16 shortestPat = 10;
    if (openSection(pat, buf, bufLen, 0x00, 0x00, syntaxPatTexts) == -1)
        return -1;
    PSI_INFO("syntaxAnalysePat: section_length = %u", pat->section_length);
    Reader body = sectionBody(buf);
    pat->transport_stream_id = takeHeader(pat, body);
    PSI_INFO("syntaxAnalysePat: ts_id = %u", pat->transport_stream_id);
    PSI_INFO("syntaxAnalysePat: version_number = %u", pat->version_number);
    if (pat->section_length < shortestPat)
        return -1;
    while (body.remaining() != 0)
        if (takePatProgram(pat, body) == -1)
            return -1;
    PSI_INFO("syntaxAnalysePat: OK!");
    return 0;
}

/* ---- PMT. ISO/IEC 13818-1 2.4.4.8 ---- */

constexpr ParserTexts syntaxPmtTexts = {
    PSI_TEXT(error, "syntaxAnalysePmt: pmtSection is NULL!"), PSI_TEXT(error, "syntaxAnalysePmt: buf is NULL!"),
    PSI_TEXT(error, "syntaxAnalysePmt: tsCrcPsi ERROR"),      PSI_TEXT(error, "syntaxAnalysePmt: tableid ERROR!"),
    PSI_TEXT(error, "syntaxAnalysePmt: length ERROR"),
};
constexpr LogText syntaxPmtMemory = PSI_TEXT(error, "syntaxAnalysePmt: descriptor->descData buddy_malloc failed!");
constexpr DescriptorTexts syntaxPmtProgDescTexts = {
    PSI_TEXT(error, "syntaxAnalysePmt: prog_desc_len ERROR "),
    PSI_TEXT(error, "syntaxAnalysePmt: prog_descriptor creat failed! "),
    syntaxPmtMemory,
};
constexpr DescriptorTexts syntaxPmtEsDescTexts = {
    PSI_TEXT(error, "syntaxAnalysePmt: es_desc_len ERROR "),
    PSI_TEXT(error, "syntaxAnalysePmt: es_descriptor creat failed! "),
    syntaxPmtMemory,
};

i32 takePmtEs(pmtSection *pmt, Reader &body)
{
    const u8 streamType = body.take8();
    const u16 pid = body.takePid();
    const u16 infoLength = body.takeLength12();
    const Reader loop = body.takeLoop(infoLength);
    if (body.overrun()) {
        PSI_ERROR("syntaxAnalysePmt: es_info_len ERROR ");
        return -1;
    }
    psiPmtEs *es = psiPmtEsCreat(&pmt->es_info);
    if (!es) {
        PSI_ERROR("syntaxAnalysePmt: esInfo creat failed! ");
        return -1;
    }
    es->stream_type = streamType;
    es->elementary_PID = pid;
    es->ES_info_length = infoLength;
    PSI_INFO("syntaxAnalysePmt: estype = %u, espid = 0x%x", es->stream_type, static_cast<unsigned>(pid));
    return takeDescriptors(loop, &es->es_descriptor, Keep::copy, syntaxPmtEsDescTexts);
}

i32 syntaxAnalysePmt(pmtSection *pmt, const u8 *buf, u32 bufLen)
{
    if (openSection(pmt, buf, bufLen, 0x02, 0x02, syntaxPmtTexts) == -1)
        return -1;
    Reader body = sectionBody(buf);
    pmt->program_number = takeHeader(pmt, body);
    PSI_INFO("syntaxAnalysePmt: prog_no = 0x%x", static_cast<unsigned>(pmt->program_number));
    pmt->PCR_PID = body.takePid();
    if (body.overrun())
        return fail(syntaxPmtTexts.length);
    PSI_INFO("syntaxAnalysePmt: pcr_pid = 0x%x", static_cast<unsigned>(pmt->PCR_PID));
    pmt->program_info_length = body.takeLength12();
    const Reader loop = body.takeLoop(pmt->program_info_length);
    if (body.overrun()) {
        PSI_ERROR("syntaxAnalysePmt: program_info_length ERROR ");
        return -1;
    }
    if (takeDescriptors(loop, &pmt->prog_descriptor, Keep::copy, syntaxPmtProgDescTexts) == -1)
        return -1;
    while (body.remaining() != 0)
        if (takePmtEs(pmt, body) == -1)
            return -1;
    PSI_INFO("syntaxAnalysePmt: OK!");
    return 0;
}

/* ---- CAT. ISO/IEC 13818-1 2.4.4.6 ---- */

constexpr ParserTexts syntaxCatTexts = {
    PSI_TEXT(error, "syntaxAnalyseCat: pmtSection is NULL!"),   PSI_TEXT(error, "syntaxAnalyseCat: buf is NULL!"),
    PSI_TEXT(error, "syntaxAnalyseCat: tsCrcPsi ERROR "),       PSI_TEXT(error, "syntaxAnalyseCat: tableid ERROR!"),
    PSI_TEXT(error, "syntaxAnalyseCat: section length ERROR "),
};
constexpr DescriptorTexts syntaxCatDescTexts = {
    PSI_TEXT(error, "syntaxAnalyseCat: desc_len ERROR "),
    PSI_TEXT(error, "syntaxAnalyseCat: descriptor creat failed! "),
    PSI_TEXT(error, "syntaxAnalyseCat: descriptor->descData buddy_malloc failed!"),
};

i32 syntaxAnalyseCat(catSection *cat, const u8 *buf, u32 bufLen)
{
    if (openSection(cat, buf, bufLen, 0x01, 0x01, syntaxCatTexts) == -1)
        return -1;
    Reader body = sectionBody(buf);
    takeHeader(cat, body);
    if (body.overrun())
        return fail(syntaxCatTexts.length);
    if (takeDescriptors(body, &cat->cat_descriptor, Keep::copy, syntaxCatDescTexts) == -1)
        return -1;
    PSI_INFO("syntaxAnalyseCat: OK!");
    return 0;
}

/* ---- NIT and BAT, which have one shape. EN 300 468 5.2.1, 5.2.2 ---- */

struct NetworkTexts {
    ParserTexts section;
    DescriptorTexts descriptors, streamDescriptors;
    LogText streamLength, streamCreat;
};

constexpr NetworkTexts syntaxNitTexts = {
    {
        PSI_TEXT(error, "syntaxAnalyseNit: nitSection is NULL!"),
        PSI_TEXT(error, "syntaxAnalyseNit: buf is NULL!"),
        PSI_TEXT(error, "syntaxAnalyseNit: tsCrcPsi ERROR "),
        PSI_TEXT(error, "syntaxAnalyseNit: tableid ERROR!"),
        PSI_TEXT(error, "syntaxAnalyseNit: section length ERROR "),
    },
    {
        PSI_TEXT(error, "syntaxAnalyseNit: net_desc_len ERROR "),
        PSI_TEXT(error, "syntaxAnalyseNit: net_descriptor creat failed! "),
        PSI_TEXT(error, "syntaxAnalyseNit: descriptor->descData buddy_malloc failed!"),
    },
    {
        PSI_TEXT(error, "syntaxAnalyseNit: stream_desc_len ERROR "),
        PSI_TEXT(error, "syntaxAnalyseNit: stream_descriptor creat failed! "),
        PSI_TEXT(error, "syntaxAnalyseNit: descriptor->descData buddy_malloc failed!"),
    },
    PSI_TEXT(error, "syntaxAnalyseNit: stream_info_len ERROR "),
    PSI_TEXT(error, "syntaxAnalyseNit: streamInfo creat failed! "),
};

constexpr NetworkTexts syntaxBatTexts = {
    {
        PSI_TEXT(error, "syntaxAnalyseBat: batSection is NULL!"),
        PSI_TEXT(error, "syntaxAnalyseBat: buf is NULL!"),
        PSI_TEXT(error, "syntaxAnalyseBat: tsCrcPsi ERROR "),
        PSI_TEXT(error, "syntaxAnalyseBat: tableid ERROR!"),
        PSI_TEXT(error, "syntaxAnalyseBat: section length ERROR "),
    },
    {
        PSI_TEXT(error, "syntaxAnalyseBat: net_desc_len ERROR "),
        PSI_TEXT(error, "syntaxAnalyseBat: bouquet_descriptor creat failed! "),
        PSI_TEXT(error, "syntaxAnalyseBat: descriptor->descData buddy_malloc failed!"),
    },
    {
        PSI_TEXT(error, "syntaxAnalyseBat: stream_desc_len ERROR "),
        PSI_TEXT(error, "syntaxAnalyseBat stream_descriptor creat failed! "),
        PSI_TEXT(error, "syntaxAnalyseBat: descriptor->descData buddy_malloc failed!"),
    },
    PSI_TEXT(error, "syntaxAnalyseBat: stream_info_len ERROR "),
    PSI_TEXT(error, "syntaxAnalyseBat: streamInfo creat failed! "),
};

using StreamLogger = void (*)(const psiStreamInfo &);

void logNitStream(const psiStreamInfo &stream)
{
    PSI_INFO("syntaxAnalyseNit: tsId = 0x%x, orNetId = 0x%x", static_cast<unsigned>(stream.transport_stream_id),
             static_cast<unsigned>(stream.original_network_id));
}

void logBatStream(const psiStreamInfo &stream)
{
    PSI_INFO("syntaxAnalyseBat: ts_id = 0x%x", static_cast<unsigned>(stream.transport_stream_id));
    PSI_INFO("syntaxAnalyseBat: or_net_id = 0x%x", static_cast<unsigned>(stream.original_network_id));
}

i32 takeNetworkStream(psiStreamInfo **head, Reader &streams, const NetworkTexts &texts, StreamLogger logStream)
{
    const u16 transportStreamId = streams.take16();
    const u16 originalNetworkId = streams.take16();
    const u16 descriptorsLength = streams.takeLength12();
    const Reader loop = streams.takeLoop(descriptorsLength);
    if (streams.overrun())
        return fail(texts.streamLength);
    psiStreamInfo *stream = psiStreamInfoCreat(head);
    if (!stream)
        return fail(texts.streamCreat);
    stream->transport_stream_id = transportStreamId;
    stream->original_network_id = originalNetworkId;
    stream->transport_descriptors_length = descriptorsLength;
    logStream(*stream);
    return takeDescriptors(loop, &stream->descriptor, Keep::copy, texts.streamDescriptors);
}

/** @brief What follows the long header: table descriptors, then the transport stream loop. */
i32 takeNetworkLoops(Reader &body, u16 &descriptorsLength, descInfo **descriptors, psiStreamInfo **streamHead,
                     const NetworkTexts &texts, StreamLogger logStream)
{
    descriptorsLength = body.takeLength12();
    if (takeDescriptorLoop(body, descriptorsLength, descriptors, texts.descriptors, texts.section.length) == -1)
        return -1;
    Reader streams = body.takeLoop(body.takeLength12());
    if (body.overrun())
        return fail(texts.section.length);
    while (streams.remaining() != 0)
        if (takeNetworkStream(streamHead, streams, texts, logStream) == -1)
            return -1;
    return 0;
}

i32 syntaxAnalyseNit(nitSection *nit, const u8 *buf, u32 bufLen)
{
    if (openSection(nit, buf, bufLen, 0x40, 0x41, syntaxNitTexts.section) == -1)
        return -1;
    Reader body = sectionBody(buf);
    nit->network_id = takeHeader(nit, body);
    PSI_INFO("syntaxAnalyseNit: network_id = 0x%x", static_cast<unsigned>(nit->network_id));
    if (takeNetworkLoops(body, nit->network_descriptors_length, &nit->net_descriptor, &nit->stream_info, syntaxNitTexts,
                         logNitStream) == -1)
        return -1;
    PSI_INFO("syntaxAnalyseNit: OK!");
    return 0;
}

i32 syntaxAnalyseBat(batSection *bat, const u8 *buf, u32 bufLen)
{
    if (openSection(bat, buf, bufLen, 0x4A, 0x4A, syntaxBatTexts.section) == -1)
        return -1;
    Reader body = sectionBody(buf);
    bat->bouquet_id = takeHeader(bat, body);
    PSI_INFO("syntaxAnalyseBat: bouquet_id = 0x%x", static_cast<unsigned>(bat->bouquet_id));
    if (takeNetworkLoops(body, bat->bouquet_descriptors_length, &bat->bouquet_descriptor, &bat->stream_info,
                         syntaxBatTexts, logBatStream) == -1)
        return -1;
    PSI_INFO("syntaxAnalyseBat: OK!");
    return 0;
}

/* ---- SDT. EN 300 468 5.2.3 ---- */

constexpr ParserTexts syntaxSdtTexts = {
    PSI_TEXT(error, "syntaxAnalyseSdt: sdtSection is NULL!"),   PSI_TEXT(error, "syntaxAnalyseSdt: buf is NULL!"),
    PSI_TEXT(error, "syntaxAnalyseSdt: tsCrcPsi ERROR "),       PSI_TEXT(error, "syntaxAnalyseSdt: tableid ERROR!"),
    PSI_TEXT(error, "syntaxAnalyseSdt: section length ERROR "),
};
constexpr DescriptorTexts syntaxSdtDescTexts = {
    PSI_TEXT(error, "syntaxAnalyseSdt: service_desc_len ERROR "),
    PSI_TEXT(error, "syntaxAnalyseSdt: service_descriptor creat failed! "),
    PSI_TEXT(error, "syntaxAnalyseSdt: descriptor->descData buddy_malloc failed!"),
};

i32 takeSdtService(sdtSection *sdt, Reader &body)
{
    const ServiceFields fields = takeServiceFields(body);
    const Reader loop = body.takeLoop(fields.descriptorsLoopLength);
    if (body.overrun()) {
        PSI_ERROR("syntaxAnalyseSdt: serviceInfoLen ERROR ");
        return -1;
    }
    psiSdtService *service = psiSdtServiceCreat(&sdt->service_info);
    if (!service) {
        PSI_ERROR("syntaxAnalyseSdt: serviceInfo creat failed! ");
        return -1;
    }
    service->service_id = fields.serviceId;
    service->EIT_schedule_flag = fields.eitSchedule;
    service->EIT_present_following_flag = fields.eitPresentFollowing;
    service->running_status = fields.runningStatus;
    service->free_CA_mode = fields.freeCaMode;
    service->descriptors_loop_length = fields.descriptorsLoopLength;
    PSI_INFO("syntaxAnalyseSdt: service_id = %u", service->service_id);
    PSI_INFO("syntaxAnalyseSdt: EIT_flag = %u", service->EIT_schedule_flag);
    PSI_INFO("syntaxAnalyseSdt: EIT_pre_flag = %u", service->EIT_present_following_flag);
    PSI_INFO("syntaxAnalyseSdt: run_stat = %u", service->running_status);
    PSI_INFO("syntaxAnalyseSdt: ca_mode = %u", service->free_CA_mode);
    return takeDescriptors(loop, &service->service_descriptor, Keep::copy, syntaxSdtDescTexts);
}

i32 syntaxAnalyseSdt(sdtSection *sdt, const u8 *buf, u32 bufLen)
{
    if (openSection(sdt, buf, bufLen, 0x42, 0x46, syntaxSdtTexts) == -1)
        return -1;
    Reader body = sectionBody(buf);
    sdt->transport_stream_id = takeHeader(sdt, body);
    sdt->original_network_id = body.take16();
    body.skip(1); // reserved_future_use
    if (body.overrun())
        return fail(syntaxSdtTexts.length);
    PSI_INFO("syntaxAnalyseSdt: tsId = 0x%x, orNetId = 0x%x", static_cast<unsigned>(sdt->transport_stream_id),
             static_cast<unsigned>(sdt->original_network_id));
    while (body.remaining() != 0)
        if (takeSdtService(sdt, body) == -1)
            return -1;
    PSI_INFO("syntaxAnalyseSdt: OK!");
    return 0;
}

/* ---- MGT. A/65 6.2 ---- */

constexpr ParserTexts syntaxMgtTexts = {
    PSI_TEXT(error, "syntaxAnalyseMgt: batSection is NULL!"),   PSI_TEXT(error, "syntaxAnalyseMgt: buf is NULL!"),
    PSI_TEXT(error, "syntaxAnalyseMgt: tsCrcPsi ERROR "),       PSI_TEXT(error, "syntaxAnalyseMgt: tableid ERROR!"),
    PSI_TEXT(error, "syntaxAnalyseMgt: section length ERROR "),
};
constexpr LogText syntaxMgtMemory = PSI_TEXT(error, "syntaxAnalyseMgt: descriptor->descData buddy_malloc failed!");
constexpr DescriptorTexts syntaxMgtTableDescTexts = {
    PSI_TEXT(error, "syntaxAnalyseMgt: table_desc_len ERROR "),
    PSI_TEXT(error, "syntaxAnalyseMgt: mgtTableInfo->table_desc_info creat failed! "),
    syntaxMgtMemory,
};
constexpr DescriptorTexts syntaxMgtDescTexts = {
    PSI_TEXT(error, "syntaxAnalyseMgt: mgt_desc_length ERROR "),
    PSI_TEXT(error, "syntaxAnalyseMgt: mgtSection->mgt_desc_info creat failed! "),
    syntaxMgtMemory,
};

i32 takeMgtTable(mgtSection *mgt, Reader &body)
{
    mgtTableInfo *table = mgtTableInfoCreat(&mgt->table_info);
    if (!table) {
        PSI_ERROR("syntaxAnalyseMgt: mgtTableInfoCreat creat failed! ");
        return -1;
    }
    table->table_type = body.take16();
    table->table_type_PID = body.takePid();
    table->table_type_version_number = body.take8() & 0x1F;
    table->number_bytes = body.take32();
    table->table_type_descriptors_length = body.takeLength12();
    return takeDescriptorLoop(body, table->table_type_descriptors_length, &table->table_desc_info,
                              syntaxMgtTableDescTexts, syntaxMgtTexts.length);
}

i32 syntaxAnalyseMgt(mgtSection *mgt, const u8 *buf, u32 bufLen)
{
    if (openSection(mgt, buf, bufLen, 0xC7, 0xC7, syntaxMgtTexts) == -1)
        return -1;
    mgt->private_indicator = buf[1] >> 6 & 1;
    Reader body = sectionBody(buf);
    takeHeader(mgt, body);
    mgt->protocol_version = body.take8();
    mgt->tables_defined = body.take16();
    for (u32 i = 0; i < mgt->tables_defined; ++i)
        if (takeMgtTable(mgt, body) == -1)
            return -1;
    mgt->descriptors_length = body.takeLength12();
    if (takeDescriptorLoop(body, mgt->descriptors_length, &mgt->mgt_desc_info, syntaxMgtDescTexts,
                           syntaxMgtTexts.length) == -1)
        return -1;
    PSI_INFO("syntaxAnalyseMgt: OK!");
    return 0;
}

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
template <class Length> i32 takeBlob(Reader &body, u32 n, u8 *&data, Length &length, const BlobTexts &texts)
{
    length = static_cast<Length>(n);
    const u8 *bytes = body.takeBytes(n);
    if (body.overrun())
        return fail(texts.length);
    return keepBytes(data, length, bytes, n, Keep::copy) ? 0 : fail(texts.memory);
}

/** @brief The trailing signature of an emergency table. */
template <class Record> i32 takeSignature(Record *record, Reader &body, const BlobTexts &texts)
{
    return takeBlob(body, body.take16(), record->signature, record->signature_length, texts);
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

/** @brief A cursor with the EBCT's own bounds: `end` is the last byte in front of the CRC. */
struct EbctCursor {
    const u8 *buf;
    u32 at;
    u32 end;

    /** @brief Would `n` more bytes lead beyond `end`? */
    bool passes(u32 n) const { return at + n > end; }
    /** @brief Are there `n` bytes up to and including `end`? */
    bool has(u32 n) const { return at + n <= end + 1; }
    const u8 *take(u32 n)
    {
        const u8 *p = buf + at;
        at += n;
        return p;
    }
    u8 take8() { return *take(1); }
    u16 take16() { return beU16(take(2)); }
};

Ebct keepEbctBytes(u8 *&data, EbctCursor &cursor, u32 n, const LogText &noMemory)
{
    data = static_cast<u8 *>(psi_buddy_malloc(n));
    if (!data) {
        schLog(noMemory);
        return Ebct::failed;
    }
    memcpy(data, cursor.take(n), n);
    return Ebct::more;
}

Ebct takeEbctAuxiliary(ebctContent *content, EbctCursor &cursor)
{
    if (cursor.passes(4))
        return Ebct::truncated;
    ebctAuxiliaryData *data = ebctAuxiliaryDataCreat(&content->auxiliaryData);
    if (!data) {
        PSI_ERROR("syntaxAnalyseEbct: auxiliaryData buddy_malloc failed");
        return Ebct::failed;
    }
    const u32 word = beU32(cursor.take(4));
    data->auxiliary_data_type = static_cast<u8>(word >> 24);
    data->auxiliary_data_length = word & 0x00FFFFFF;
    if (data->auxiliary_data_length != 0 && cursor.passes(data->auxiliary_data_length))
        return Ebct::truncated;
    cursor.take(data->auxiliary_data_length); // the bytes themselves are not kept
    return Ebct::more;
}

/** @brief There is a byte at least: the fixed fields and the text end in front of the last one. */
Ebct takeEbctAgency(ebctContent *content, EbctCursor &cursor)
{
    content->agency_name_length = cursor.take8();
    if (content->agency_name_length == 0)
        return Ebct::more;
    if (cursor.at + content->agency_name_length >= cursor.end)
        return Ebct::truncated;
    return keepEbctBytes(content->agency_name, cursor, content->agency_name_length, ebctAgencyNameMemory);
}

/** @brief A content behind its fixed fields. */
Ebct takeEbctContentBody(ebctContent *content, EbctCursor &cursor)
{
    if (content->message_text_length != 0) {
        if (cursor.passes(content->message_text_length))
            return Ebct::truncated;
        if (keepEbctBytes(content->message_text, cursor, content->message_text_length, ebctMessageTextMemory) !=
            Ebct::more)
            return Ebct::failed;
    }
    const Ebct agency = takeEbctAgency(content, cursor);
    if (agency != Ebct::more)
        return agency;
    if (cursor.passes(0))
        return Ebct::truncated;
    content->auxiliary_data_number = cursor.take8() & 0x0F;
    for (u32 i = 0; i < content->auxiliary_data_number; ++i) {
        const Ebct auxiliary = takeEbctAuxiliary(content, cursor);
        if (auxiliary != Ebct::more)
            return auxiliary;
    }
    return Ebct::more;
}

Ebct takeEbctContent(ebctSection *ebct, EbctCursor &cursor)
{
    if (cursor.passes(10))
        return Ebct::truncated;
    ebctContent *content = ebctContentCreat(&ebct->content);
    if (!content) {
        PSI_ERROR("syntaxAnalyseEbct: content buddy_malloc failed!");
        return Ebct::failed;
    }
    content->content_word = beU32(cursor.take(4));
    content->content_byte4 = cursor.take8();
    content->content_byte5 = cursor.take8();
    content->content_byte6 = cursor.take8();
    content->content_bits7 = cursor.take8() & 7;
    content->message_text_length = cursor.take16();
    const Ebct result = takeEbctContentBody(content, cursor);
    if (result == Ebct::failed)
        ebctContentDestroy(&ebct->content, content);
    return result;
}

Ebct takeEbctSignature(ebctSection *ebct, EbctCursor &cursor)
{
    if (cursor.passes(2))
        return Ebct::truncated;
    ebct->signature_length = cursor.take16();
    if (ebct->signature_length == 0)
        return Ebct::more;
    if (cursor.passes(ebct->signature_length))
        return Ebct::truncated;
    return keepEbctBytes(ebct->signature, cursor, ebct->signature_length, ebctSignatureMemory);
}

/** @brief The section behind its header. */
Ebct takeEbctBody(ebctSection *ebct, EbctCursor &cursor)
{
    constexpr u32 idLen = sizeof(ebct->ebm_id);
    if (!cursor.has(idLen))
        return Ebct::truncated;
    memcpy(ebct->ebm_id, cursor.take(idLen), idLen);
    ebct->ebm_id[0] &= 0x0F;
    if (!cursor.has(1))
        return Ebct::truncated;
    ebct->content_number = cursor.take8() & 0x0F;
    for (u32 i = 0; i < ebct->content_number; ++i) {
        const Ebct content = takeEbctContent(ebct, cursor);
        if (content != Ebct::more)
            return content;
    }
    return takeEbctSignature(ebct, cursor);
}

i32 syntaxAnalyseEbct(ebctSection *ebct, const u8 *buf, u32 bufLen)
{
    if (openSection(ebct, buf, bufLen, 0xFE, 0xFE, syntaxEbctTexts) == -1)
        return -1;
    Reader header(buf + sectionLengthEnd, bufLen - crcLen - sectionLengthEnd);
    takeEmergencyHeader(ebct, header);
    if (header.overrun())
        return 0;
    if (ebct->section_number != 0) {
        PSI_INFO("syntaxAnalyseEbct: section number %d is not the first section, so don't ananlyse other byte!",
                 ebct->section_number);
        return 0;
    }
    EbctCursor cursor = {buf, static_cast<u32>(header.position() - buf), bufLen - crcLen - 1};
    switch (takeEbctBody(ebct, cursor)) {
    case Ebct::failed:
        return -1;
    case Ebct::truncated:
        return 0;
    case Ebct::more:
        break;
    }
    PSI_INFO("syntaxAnalyseEbct: OK!");
    return 0;
}

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

i32 takeEbcatCalist(ebcatSection *ebcat, Reader &body)
{
    ebcatCalist *entry = ebcatCalistCreat(&ebcat->calist);
    if (!entry) {
        PSI_ERROR("syntaxAnalyseEbcat: calist buddy_malloc failed");
        return -1;
    }
    if (takeBlob(body, body.take16(), entry->ca_data, entry->ca_data_length, ebcatCaDataTexts) == 0)
        return 0;
    ebcatCalistDestroy(&ebcat->calist, entry, 1);
    return -1;
}

i32 takeEbcatCt(ebcatSection *ebcat, Reader &body)
{
    ebcatCt *entry = ebcatCtCreat(&ebcat->ct);
    if (!entry) {
        PSI_ERROR("syntaxAnalyseEbcat: ct buddy_malloc failed");
        return -1;
    }
    if (takeBlob(body, body.take8(), entry->ct_data, entry->ct_data_length, ebcatCtDataTexts) == 0)
        return 0;
    ebcatCtDestroy(&ebcat->ct, entry, 1);
    return -1;
}

i32 syntaxAnalyseEbcat(ebcatSection *ebcat, const u8 *buf, u32 bufLen)
{
    if (openSection(ebcat, buf, bufLen, 0xFC, 0xFC, syntaxEbcatTexts) == -1)
        return -1;
    Reader body = sectionBody(buf);
    takeEmergencyHeader(ebcat, body);
    ebcat->calist_number = body.take8();
    for (u32 i = 0; i < ebcat->calist_number; ++i)
        if (takeEbcatCalist(ebcat, body) == -1)
            return -1;
    ebcat->ct_number = body.take8();
    for (u32 i = 0; i < ebcat->ct_number; ++i)
        if (takeEbcatCt(ebcat, body) == -1)
            return -1;
    if (takeSignature(ebcat, body, ebcatSignatureTexts) == -1)
        return -1;
    PSI_INFO("syntaxAnalyseEbcat: OK!");
    return 0;
}

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

i32 takeEbcctCmd(ebcctSection *ebcct, Reader &body)
{
    ebcctCmd *cmd = ebcctCmdCreat(&ebcct->cmd);
    if (!cmd) {
        PSI_ERROR("syntaxAnalyseEbcct: cmd buddy_malloc failed");
        return -1;
    }
    cmd->cmd_tag = body.take8();
    if (takeBlob(body, body.take16(), cmd->cmd_data, cmd->cmd_data_length, ebcctDataTexts) == 0)
        return 0;
    ebcctCmdDestroy(&ebcct->cmd, cmd, 1);
    return -1;
}

i32 syntaxAnalyseEbcct(ebcctSection *ebcct, const u8 *buf, u32 bufLen)
{
    if (openSection(ebcct, buf, bufLen, 0xFB, 0xFB, syntaxEbcctTexts) == -1)
        return -1;
    Reader body = sectionBody(buf);
    takeEmergencyHeader(ebcct, body);
    ebcct->cmd_number = body.take8();
    for (u32 i = 0; i < ebcct->cmd_number; ++i)
        if (takeEbcctCmd(ebcct, body) == -1)
            return -1;
    if (takeSignature(ebcct, body, ebcctSignatureTexts) == -1)
        return -1;
    PSI_INFO("syntaxAnalyseEbcct: OK!");
    return 0;
}

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

i32 takeEbitStream(ebitDetailsChannel *channel, Reader &streams)
{
    const u8 streamType = streams.take8();
    const u16 pid = streams.takePid();
    const u16 infoLength = streams.takeLength12();
    const Reader loop = streams.takeLoop(infoLength);
    if (streams.overrun()) {
        PSI_ERROR("syntaxAnalyseEbit: stream_info_length ERROR");
        return -1;
    }
    ebitStream *stream = ebitStreamCreat(&channel->stream);
    if (!stream) {
        PSI_ERROR("syntaxAnalyseEbit: streamInfo buddy_malloc failed");
        return -1;
    }
    stream->stream_type = streamType;
    stream->elementary_PID = pid;
    stream->ES_info_length = infoLength;
    return takeDescriptors(loop, &stream->descriptor, Keep::copy, ebitStreamDescTexts);
}

i32 takeEbitChannel(ebitMessage *ebm, Reader &body)
{
    ebitDetailsChannel *channel = ebitDetailsChannelCreat();
    if (!channel) {
        PSI_ERROR("syntaxAnalyseEbit: channel create failed");
        return -1;
    }
    ebm->channel = channel;
    channel->details_word0 = body.take16();
    channel->details_word1 = body.take16();
    channel->details_word2 = body.take16() & 0x00FF; // the first byte of the field does not count
    channel->details_pid = body.takePid();
    channel->program_info_length = body.takeLength12();
    if (takeDescriptorLoop(body, channel->program_info_length, &channel->descriptor, ebitChannelDescTexts,
                           syntaxEbitTexts.length) == -1)
        return -1;
    channel->stream_info_length = body.take16();
    Reader streams = body.takeLoop(channel->stream_info_length);
    if (body.overrun())
        return fail(syntaxEbitTexts.length);
    while (streams.remaining() != 0)
        if (takeEbitStream(channel, streams) == -1)
            return -1;
    return 0;
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

i32 takeEbitResource(ebitMessage *ebm, Reader &body)
{
    ebitResource *resource = ebitResourceCreat(&ebm->resource);
    if (!resource) {
        PSI_ERROR("syntaxAnalyseEbit: resource create failed");
        return -1;
    }
    takeInto(resource->resource_code, sizeof(resource->resource_code), body);
    resource->resource_code[0] &= 0x0F;
    return body.overrun() ? fail(syntaxEbitTexts.length) : 0;
}

i32 takeEbitMessageBody(ebitMessage *ebm, Reader &body)
{
    takeEbitFixedFields(ebm, body);
    if (body.overrun())
        return fail(syntaxEbitTexts.length);
    for (u32 i = 0; i < ebm->resource_number; ++i)
        if (takeEbitResource(ebm, body) == -1)
            return -1;
    ebm->details_channel_flag = body.take8() & 1;
    if (body.overrun())
        return fail(syntaxEbitTexts.length);
    return ebm->details_channel_flag ? takeEbitChannel(ebm, body) : 0;
}

i32 takeEbitMessage(ebitSection *ebit, Reader &body)
{
    ebitMessage *ebm = ebitMessageCreat(&ebit->message);
    if (!ebm) {
        PSI_ERROR("syntaxAnalyseEbit: ebm buddy_malloc failed!");
        return -1;
    }
    if (takeEbitMessageBody(ebm, body) == 0)
        return 0;
    ebitMessageDestroy(&ebit->message, ebm);
    return -1;
}

i32 syntaxAnalyseEbit(ebitSection *ebit, const u8 *buf, u32 bufLen)
{
    if (openSection(ebit, buf, bufLen, 0xFD, 0xFD, syntaxEbitTexts) == -1)
        return -1;
    Reader body = sectionBody(buf);
    takeEmergencyHeader(ebit, body);
    ebit->ebm_number = body.take8();
    for (u32 i = 0; i < ebit->ebm_number; ++i)
        if (takeEbitMessage(ebit, body) == -1)
            return -1;
    if (takeSignature(ebit, body, ebitSignatureTexts) == -1)
        return -1;
    PSI_INFO("syntaxAnalyseEbit: OK!");
    return 0;
}

/* ---- Dispatch ---- */

/** @brief How a table type is parsed and its tree destroyed. */
struct SyntaxOps {
    void *(*creat)();
    i32 (*parse)(void *record, const u8 *buf, u32 bufLen);
    i32 (*destroy)(void *record);
};

template <class Record, Record *(*recordCreat)(), i32 (*parser)(Record *, const u8 *, u32),
          i32 (*recordDestroy)(Record *)>
constexpr SyntaxOps opsOf = {
    []() -> void * { return recordCreat(); },
    [](void *record, const u8 *buf, u32 bufLen) { return parser(static_cast<Record *>(record), buf, bufLen); },
    [](void *record) { return recordDestroy(static_cast<Record *>(record)); },
};

constexpr SyntaxOps noOps = {nullptr, nullptr, nullptr};
constexpr SyntaxOps patOps = opsOf<patSection, psiPatSectionCreat, syntaxAnalysePat, psiPatSectionDestroy>;
constexpr SyntaxOps pmtOps = opsOf<pmtSection, psiPmtSectionCreat, syntaxAnalysePmt, psiPmtSectionDestroy>;
constexpr SyntaxOps sdtOps = opsOf<sdtSection, psiSdtSectionCreat, syntaxAnalyseSdt, psiSdtSectionDestroy>;
constexpr SyntaxOps nitOps = opsOf<nitSection, psiNitSectionCreat, syntaxAnalyseNit, psiNitSectionDestroy>;
constexpr SyntaxOps batOps = opsOf<batSection, psiBatSectionCreat, syntaxAnalyseBat, psiBatSectionDestroy>;
constexpr SyntaxOps catOps = opsOf<catSection, psiCatSectionCreat, syntaxAnalyseCat, psiCatSectionDestroy>;
constexpr SyntaxOps mgtOps = opsOf<mgtSection, psipMgtSectionCreat, syntaxAnalyseMgt, psipMgtSectionDestroy>;
constexpr SyntaxOps ebitOps = opsOf<ebitSection, psiEbitSectionCreat, syntaxAnalyseEbit, psiEbitSectionDestroy>;
constexpr SyntaxOps ebctOps = opsOf<ebctSection, psiEbctSectionCreat, syntaxAnalyseEbct, psiEbctSectionDestroy>;
constexpr SyntaxOps ebcatOps = opsOf<ebcatSection, psiEbcatSectionCreat, syntaxAnalyseEbcat, psiEbcatSectionDestroy>;
constexpr SyntaxOps ebcctOps = opsOf<ebcctSection, psiEbcctSectionCreat, syntaxAnalyseEbcct, psiEbcctSectionDestroy>;

/** @brief By table-type code. */
constexpr SyntaxOps syntaxOps[tableTypes] = {patOps, pmtOps, sdtOps, sdtOps, nitOps,  nitOps,  batOps,   catOps,
                                             noOps,  mgtOps, noOps,  noOps,  ebitOps, ebctOps, ebcatOps, ebcctOps};

const SyntaxOps &syntaxOpsOf(u32 type)
{
    return type < tableTypes ? syntaxOps[type] : noOps;
}

} // namespace

i32 syntaxAnalysePsi(u32 type, void **tree, const u8 *buf, u32 bufLen)
{
    if (!tree) {
        PSI_ERROR("syntaxAnalysePsi: pointer is NULL!");
        return -1;
    }
    if (!buf) {
        PSI_ERROR("syntaxAnalysePsi: buf is NULL!");
        return -1;
    }
    if (bufLen == 0) {
        PSI_ERROR("syntaxAnalysePsi: bufLen = 0!");
        return -1;
    }
    const SyntaxOps &ops = syntaxOpsOf(type);
    if (!ops.parse) {
        PSI_WARNING("syntaxAnalysePsi psiType = %lu, not support!", static_cast<unsigned long>(type));
        return -1;
    }
    void *record = ops.creat();
    if (!record)
        return -1;
    if (ops.parse(record, buf, bufLen) == -1) {
        ops.destroy(record);
        return -1;
    }
    *tree = record;
    return 0;
}

i32 syntaxDestroyPsiSection(u32 type, void *section)
{
    if (!section) {
        PSI_ERROR("syntaxDestroyPsiSection pointer is NULL\r\n");
        return -1;
    }
    const SyntaxOps &ops = syntaxOpsOf(type);
    if (!ops.destroy) {
        PSI_WARNING("syntaxDestroyPsiSection: psiType = %lu, not support!", static_cast<unsigned long>(type));
        return -1;
    }
    return ops.destroy(section);
}
