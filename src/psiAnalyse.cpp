#include "psiSection.h"

using namespace psi::core;

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

/** @brief The gate in front of every analyser. That section_length stays within the node is part of it. */
bool checkCrc(const sectionData *section, const AnalyserTexts &texts)
{
    const bool whole = psiCheckCrc(section->buf, section->len) == 0;
    if (!whole)
        schLog(texts.crc);
    return whole;
}

void storeHead(psiHead &head, const LongHeader &header)
{
    head.version_number = header.version;
    head.current_next = header.currentNext;
    head.section_number = header.sectionNumber;
    head.last_section_number = header.lastSectionNumber;
}

/* ---- Loops with CA descriptors ---- */

struct CaTexts {
    LogText tooShort, creat, memory;
};

/** @brief A CA_descriptor. ISO/IEC 13818-1 2.6.16. */
bool addCa(caInfo **head, const Descriptor &descriptor, const Keep &keep, const CaTexts &texts)
{
    if (descriptor.len < 4)
        return refused(texts.tooShort);
    caInfo *node = nodeCreat(keep.pool, head, caInfoType);
    if (!node)
        return refused(texts.creat);
    Reader payload(descriptor.bytes, descriptor.len);
    node->caSystemId = payload.take16();
    node->caPid = payload.takePid();
    if (!keepBytes(node->privateData, node->privateLen, payload.position(), payload.remaining(), keep)) {
        schLog(texts.memory);
        dropNew(keep.pool, head, node, caInfoType);
        return false;
    }
    return true;
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

bool takeCaLoop(const Reader &loop, const CaLoop &to, const Keep &keep)
{
    return takeDescriptorsBut(caTag, loop, to.descHead, keep, to.texts, [&](const Descriptor &descriptor) {
        if (!addCa(to.caHead, descriptor, keep, to.caTexts))
            return false;
        if (to.caFlag)
            *to.caFlag = static_cast<u8>(*to.caFlag | to.caBit);
        return true;
    });
}

/* ---- PAT. ISO/IEC 13818-1 2.4.4.3 ---- */

constexpr AnalyserTexts patTexts = {
    PSI_TEXT(error, "analysePat: tsInfo is NULL!"),
    PSI_TEXT(error, "analysePat: psiSectionData is NULL!"),
    PSI_TEXT(error, "analysePat: tsCrcPsi ERROR"),
    PSI_TEXT(error, "analysePat: section length ERROR"),
};

/** @brief Section 0 names the transport stream; the others must belong to it. */
bool takePatHeader(tsInfo *model, const LongHeader &header)
{
    if (header.sectionNumber == 0) {
        model->tsId = header.tableIdExt;
    } else if (header.tableIdExt != model->tsId) {
        PSI_ERROR("analysePat: sectionNo is %u, tsInfo->tsId is %u ERROR", header.sectionNumber, model->tsId);
        return false;
    }
    PSI_INFO("analysePat: tsId = 0x%x!", static_cast<unsigned>(model->tsId));
    storeHead(model->patHead, header);
    return true;
}

bool addPatEntry(tsInfo *model, NodeMaker<progInfo> &programs, const PatEntry &entry)
{
    if (entry.programNumber == 0) {
        PSI_INFO("netpid = %u", entry.pid);
        model->netPid = entry.pid;
        model->netFlag = 1;
        return true;
    }
    progInfo *prog = programs.creat();
    if (!prog) {
        PSI_ERROR("analysePat progInfo creat failed !");
        return false;
    }
    prog->progNo = entry.programNumber;
    prog->pmtPid = entry.pid;
    PSI_INFO("analysePat: prognumber = 0x%x", static_cast<unsigned>(prog->progNo));
    PSI_INFO("analysePat: pmtpid = 0x%x", static_cast<unsigned>(prog->pmtPid));
    return true;
}

bool analysePat(tsInfo *model, const sectionData *section, const Keep &keep)
{
    if (!checkArguments(model, section, patTexts) || !checkCrc(section, patTexts))
        return false;
    if (section->buf[0] != patId) {
        PSI_ERROR("analysePat tableid ERROR");
        return false;
    }
    model->patHead.syntax_indicator = syntaxIndicator(section->buf);
    Reader body = sectionBody(section->buf);
    const LongHeader header = takeLongHeader(body);
    if (!body.overrun() && !takePatHeader(model, header))
        return false;
    const u32 section_length = sectionLength(section->buf);
    if (section_length < shortestPatLength) {
        PSI_ERROR("analysePat: section length is %u ERROR", static_cast<unsigned>(section_length));
        return false;
    }
    NodeMaker<progInfo> programs(keep.pool, &model->progList, progInfoType);
    while (body.remaining() != 0) {
        const PatEntry entry = takePatEntry(body);
        if (body.overrun())
            return refused(patTexts.length);
        if (!addPatEntry(model, programs, entry))
            return false;
    }
    PSI_INFO("analysePat: OK!");
    return true;
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

bool takePmtStream(progInfo *prog, NodeMaker<esInfo> &streams, Reader &body, const Keep &keep)
{
    const StreamEntry entry = takeStreamEntry(body);
    if (body.overrun()) {
        PSI_ERROR("analysePmt: es_info_len ERROR");
        return false;
    }
    esInfo *es = streams.creat();
    if (!es) {
        PSI_ERROR("analysePmt: esInfo creat failed!");
        return false;
    }
    es->esType = entry.type;
    es->esPid = entry.pid;
    PSI_INFO("analysePmt: espid = 0x%x, esType = 0x%x", static_cast<unsigned>(entry.pid),
             static_cast<unsigned>(entry.type));
    const CaLoop to = {&es->caList, &es->descList, &prog->caFlag, caAtStream, pmtEsCaTexts, pmtEsDescTexts};
    return takeCaLoop(entry.descriptors, to, keep);
}

bool takePmtBody(progInfo *prog, Reader &body, const Keep &keep)
{
    const u16 pcrPid = body.takePid();
    if (body.overrun())
        return refused(pmtTexts.length);
    prog->pcrPid = pcrPid;
    PSI_INFO("analysePmt: pcrpid = 0x%x", static_cast<unsigned>(prog->pcrPid));
    Reader loop = body.takeLoop(body.takeLength12());
    if (body.overrun()) {
        PSI_ERROR("analysePmt: program_info_length ERROR");
        return false;
    }
    prog->caFlag = 0;
    const CaLoop to = {&prog->caList, &prog->pmtDescList, &prog->caFlag, caAtProgram, pmtProgCaTexts, pmtProgDescTexts};
    if (!takeCaLoop(loop, to, keep))
        return false;
    NodeMaker<esInfo> streams(keep.pool, &prog->esList, esInfoType);
    while (body.remaining() != 0)
        if (!takePmtStream(prog, streams, body, keep))
            return false;
    prog->pmtValid = 1;
    PSI_INFO("analysePmt: OK!");
    return true;
}

bool analysePmt(tsInfo *model, const sectionData *section, const Keep &keep)
{
    if (!checkArguments(model, section, pmtTexts))
        return false;
    PSI_INFO("analysePmt start, prognumber = %u", section->idExt);
    if (!checkCrc(section, pmtTexts) || section->buf[0] != pmtId)
        return false;
    progInfo *prog = findAnalysed(keep.pool, model, section->idExt);
    if (!prog) {
        PSI_ERROR("analysePmt: getProgInfo failed!");
        return false;
    }
    Reader body = sectionBody(section->buf);
    prog->pmtCrc = beU32(body.position() + body.remaining());
    prog->pmtHead.syntax_indicator = syntaxIndicator(section->buf);
    const LongHeader header = takeLongHeader(body);
    if (body.overrun())
        return refused(pmtTexts.length);
    if (header.tableIdExt != prog->progNo) {
        PSI_ERROR("analysePmt: progNo ERROR");
        return false;
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

bool analyseCat(tsInfo *model, const sectionData *section, const Keep &keep)
{
    if (!checkArguments(model, section, catTexts) || !checkCrc(section, catTexts))
        return false;
    if (section->buf[0] != catId) {
        PSI_ERROR("analyseCat: tableid ERROR");
        return false;
    }
    model->catHead.syntax_indicator = syntaxIndicator(section->buf);
    Reader body = sectionBody(section->buf);
    const LongHeader header = takeLongHeader(body);
    if (body.overrun())
        return refused(catTexts.length);
    storeHead(model->catHead, header);
    if (!takeCaLoop(body, {&model->catCaList, &model->catDescList, nullptr, 0, catCaTexts, catDescTexts}, keep))
        return false;
    PSI_INFO("analyseCat: OK!");
    return true;
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

/** @brief As many of `n` bytes as there are. */
Reader takeUpTo(Reader &reader, u32 n)
{
    return reader.takeLoop(n < reader.remaining() ? n : reader.remaining());
}

/** @brief A service_descriptor, EN 300 468 6.2.33. Names that do not fit are cut at its end. */
bool takeServiceDescriptor(progInfo *prog, const Descriptor &descriptor, const Keep &keep)
{
    if (descriptor.len < 3) {
        PSI_ERROR("analyseSdta: service desc_len < 3, ERROR");
        return false;
    }
    Reader payload(descriptor.bytes, descriptor.len);
    prog->prog_type = payload.take8();
    const Reader provider = takeUpTo(payload, payload.take8());
    if (!keepBytes(prog->pname, prog->pnameLen, provider.position(), provider.remaining(), keep)) {
        PSI_ERROR("analyseSdt: progInfo->pname buddy_malloc failed!");
        return false;
    }
    const u8 nameLength = payload.remaining() != 0 ? payload.take8() : u8{0};
    const Reader name = takeUpTo(payload, nameLength);
    if (!keepBytes(prog->sname, prog->snameLen, name.position(), name.remaining(), keep)) {
        PSI_ERROR("analyseSdt: progInfo->sname buddy_malloc failed!");
        return false;
    }
    char text[maxPrintedName];
    PSI_INFO("analyseSdta: prog_type = %u", prog->prog_type);
    PSI_INFO("analyseSdta: service name = %s", makeStr(prog->sname, prog->snameLen, text));
    PSI_INFO("analyseSdta: provider name = %s", makeStr(prog->pname, prog->pnameLen, text));
    return true;
}

bool takeServiceLoop(progInfo *prog, const Reader &loop, const Keep &keep)
{
    const auto take = [&](const Descriptor &descriptor) { return takeServiceDescriptor(prog, descriptor, keep); };
    return takeDescriptorsBut(serviceTag, loop, &prog->sdtDescList, keep, sdtDescTexts, take);
}

void storeService(progInfo *prog, const ServiceEntry &entry)
{
    prog->EIT_flag = entry.eitSchedule;
    prog->EIT_pre_flag = entry.eitPresentFollowing;
    prog->run_stat = entry.runningStatus;
    prog->ca_mode = entry.freeCaMode;
    PSI_INFO("analyseSdta: progNo = %u", prog->progNo);
    PSI_INFO("analyseSdta: EIT_flag = %u", prog->EIT_flag);
    PSI_INFO("analyseSdta: EIT_pre_flag = %u", prog->EIT_pre_flag);
    PSI_INFO("analyseSdta: run_stat = %u", prog->run_stat);
    PSI_INFO("analyseSdta: ca_mode = %u", prog->ca_mode);
}

bool takeService(tsInfo *model, Reader &body, const Keep &keep)
{
    const ServiceEntry entry = takeServiceEntry(body);
    if (body.overrun()) {
        PSI_ERROR("analyseSdta: service descLoopLen ERROR");
        return false;
    }
    progInfo *prog = findAnalysed(keep.pool, model, entry.serviceId);
    if (!prog) {
        PSI_WARNING("analyseSdta: progInfo get ERROR, progNo is 0x%x!", static_cast<unsigned>(entry.serviceId));
        return true;
    }
    storeService(prog, entry);
    return takeServiceLoop(prog, entry.descriptors, keep);
}

bool analyseSdta(tsInfo *model, const sectionData *section, const Keep &keep)
{
    if (!checkArguments(model, section, sdtTexts) || !checkCrc(section, sdtTexts))
        return false;
    if (section->buf[0] != sdtActualId) {
        PSI_ERROR("analyseSdta: tableid ERROR");
        return false;
    }
    model->sdtHead.syntax_indicator = syntaxIndicator(section->buf);
    Reader body = sectionBody(section->buf);
    const LongHeader header = takeLongHeader(body);
    const u16 originalNetworkId = body.take16();
    body.skip(1); // reserved_future_use
    if (body.overrun())
        return refused(sdtTexts.length);
    model->tsId = header.tableIdExt;
    storeHead(model->sdtHead, header);
    model->orNetId = originalNetworkId;
    PSI_INFO("analyseSdta: tsId = 0x%x", static_cast<unsigned>(model->tsId));
    PSI_INFO("analyseSdta: orNetId = 0x%x", static_cast<unsigned>(model->orNetId));
    while (body.remaining() != 0)
        if (!takeService(model, body, keep))
            return false;
    PSI_INFO("analyseSdta: OK!");
    return true;
}

/* ---- NIT actual. EN 300 468 5.2.1 ---- */

constexpr AnalyserTexts nitTexts = {
    PSI_TEXT(error, "analyseNita: tsInfo is NULL!"),
    PSI_TEXT(error, "analyseNita: psiSectionData is NULL!"),
    PSI_TEXT(error, "analyseNita: tsCrcPsi ERROR"),
    PSI_TEXT(error, "analyseNita: section length ERROR"),
};

bool takeNetworkName(tsInfo *model, const Descriptor &descriptor, const Keep &keep)
{
    model->netnameLen = descriptor.len;
    if (descriptor.len != 0 && !keepBytes(model->netname, model->netnameLen, descriptor.bytes, descriptor.len, keep)) {
        PSI_ERROR("analyseNita: tsInfo->netname buddy_malloc failed!");
        return false;
    }
    char text[maxPrintedName];
    PSI_INFO("analyseNita: network name = %s", makeStr(model->netname, model->netnameLen, text));
    return true;
}

bool analyseNita(tsInfo *model, const sectionData *section, const Keep &keep)
{
    if (!checkArguments(model, section, nitTexts) || !checkCrc(section, nitTexts) || section->buf[0] != nitActualId)
        return false;
    Reader body = sectionBody(section->buf);
    const LongHeader header = takeLongHeader(body);
    if (body.overrun())
        return refused(nitTexts.length);
    model->netId = header.tableIdExt;
    PSI_INFO("analyseNita: netId = 0x%x", static_cast<unsigned>(model->netId));
    Reader loop = body.takeLoop(body.takeLength12());
    if (body.remaining() < 2) { // transport_stream_loop_length follows
        PSI_ERROR("analyseNita network_descriptors_length ERROR");
        return false;
    }
    while (loop.remaining() != 0) {
        Descriptor descriptor;
        if (!takeDescriptor(loop, descriptor)) {
            PSI_ERROR("analyseNita net_desc_len ERROR ");
            return false;
        }
        if (descriptor.tag == networkNameTag)
            return takeNetworkName(model, descriptor, keep);
    }
    PSI_INFO("analyseNita: OK!");
    return true;
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

bool takeChannel(tsInfo *model, Reader &body, const Keep &keep)
{
    const ChannelFields fields = takeChannelFields(body);
    if (body.overrun())
        return refused(vctTexts.length);
    progInfo *prog = findAnalysed(keep.pool, model, fields.programNumber);
    if (!prog) {
        PSI_ERROR("analyseVct: progInfo get ERROR, progNo is %u! ", fields.programNumber);
        return false;
    }
    if (!keepBytes(prog->sname, prog->snameLen, fields.shortName, shortNameLen, keep)) {
        PSI_ERROR("analyseVct: progInfo->sname buddy_malloc failed!");
        return false;
    }
    prog->major_channel_number = fields.major;
    prog->minor_channel_number = fields.minor;
    prog->modulation_mode = fields.modulationMode;
    prog->channel_TSID = fields.channelTsid;
    prog->service_type = fields.serviceType;
    prog->source_id = fields.sourceId;
    Reader loop = body.takeLoop(fields.descriptorsLength);
    if (body.overrun())
        return refused(vctTexts.length);
    return takeDescriptors(loop, &prog->sdtDescList, keep, vctChannelDescTexts);
}

bool analyseVct(tsInfo *model, const sectionData *section, const Keep &keep)
{
    if (!checkArguments(model, section, vctTexts) || !checkCrc(section, vctTexts) ||
        section->buf[0] != terrestrialVctId)
        return false;
    model->sdtHead.syntax_indicator = syntaxIndicator(section->buf);
    Reader body = sectionBody(section->buf);
    const LongHeader header = takeLongHeader(body);
    body.skip(1); // protocol_version
    const u8 channels = body.take8();
    if (body.overrun())
        return refused(vctTexts.length);
    model->tsId = header.tableIdExt;
    PSI_INFO("analyseVct: tsId = 0x%x", static_cast<unsigned>(model->tsId));
    storeHead(model->sdtHead, header);
    for (u32 i = 0; i < channels; ++i)
        if (!takeChannel(model, body, keep))
            return false;
    Reader loop = body.takeLoop(takeLength10(body));
    if (body.overrun())
        return refused(vctTexts.length);
    if (!takeDescriptors(loop, &model->vctDescList, keep, vctDescTexts))
        return false;
    PSI_INFO("analyseVct: OK!");
    return true;
}

bool runAnalyser(tsInfo *model, const sectionData *section, const Keep &keep)
{
    switch (section->psiType) {
    case PSI_PAT:
        return analysePat(model, section, keep);
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
        return true;
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
    PoolGuard pool(psiMp);
    return runAnalyser(model, section, {pool, flag == 1}) ? 0 : -1;
}
