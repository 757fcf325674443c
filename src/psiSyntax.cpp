#include "psiSyntax.h"

using namespace psi::core;

namespace {

/* ---- PAT. ISO/IEC 13818-1 2.4.4.3 ---- */

constexpr ParserTexts syntaxPatTexts = {
    PSI_TEXT(error, "syntaxAnalysePat: pmtSection is NULL!"),   PSI_TEXT(error, "syntaxAnalysePat: buf is NULL!"),
    PSI_TEXT(error, "syntaxAnalysePat: tsCrcPsi ERROR "),       PSI_TEXT(error, "syntaxAnalysePat: tableid ERROR "),
    PSI_TEXT(error, "syntaxAnalysePat: section length ERROR "),
};

template <class Source> PSI_IN_PLACE bool takePatProgram(NodesOf<Source, psiPatProg> &programs, Reader &body)
{
    const PatEntry entry = takePatEntry(body);
    if (body.overrun())
        return refused(syntaxPatTexts.length);
    psiPatProg *prog = programs.creat();
    if (Source::mayFail && !prog) {
        PSI_ERROR("syntaxAnalysePat progInfo creat failed !");
        return false;
    }
    prog->program_number = entry.programNumber;
    prog->program_map_PID = entry.pid;
    PSI_INFO("syntaxAnalysePat: prognumber = %u ", prog->program_number);
    PSI_INFO("syntaxAnalysePat: pmtpid = %u ", prog->program_map_PID);
    return true;
}

template <class Source> PSI_IN_PLACE bool takePatPrograms(patSection *pat, Reader loop, const Source &source)
{
    NodesOf<Source, psiPatProg> programs(source.pool, &pat->prog_info, psiPatProgType);
    while (loop.remaining() != 0)
        if (!takePatProgram<Source>(programs, loop))
            return false;
    return true;
}

} // namespace

bool psi::core::syntaxAnalysePat(patSection *pat, const u8 *buf, u32 bufLen, const Keep &keep)
{
    if (!openSection(pat, buf, bufLen, patId, patId, syntaxPatTexts))
        return false;
    PSI_INFO("syntaxAnalysePat: section_length = %u", pat->section_length);
    Reader body = sectionBody(buf);
    pat->transport_stream_id = takeHeader(pat, body);
    PSI_INFO("syntaxAnalysePat: ts_id = %u", pat->transport_stream_id);
    PSI_INFO("syntaxAnalysePat: version_number = %u", pat->version_number);
    if (pat->section_length < shortestPatLength)
        return false;
    const auto takeAll = [&](const auto &source) { return takePatPrograms(pat, body, source); };
    if (!makeTree<psiPatProg>(pat, keep, takeAll))
        return false;
    PSI_INFO("syntaxAnalysePat: OK!");
    return true;
}

namespace {

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

template <class Source>
PSI_IN_PLACE bool takePmtEs(NodesOf<Source, psiPmtEs> &streams, Reader &body, const Source &source)
{
    const StreamEntry entry = takeStreamEntry(body);
    if (body.overrun()) {
        PSI_ERROR("syntaxAnalysePmt: es_info_len ERROR ");
        return false;
    }
    psiPmtEs *es = streams.creat();
    if (Source::mayFail && !es) {
        PSI_ERROR("syntaxAnalysePmt: esInfo creat failed! ");
        return false;
    }
    es->stream_type = entry.type;
    es->elementary_PID = entry.pid;
    es->ES_info_length = entry.infoLength;
    PSI_INFO("syntaxAnalysePmt: estype = %u, espid = 0x%x", es->stream_type, static_cast<unsigned>(entry.pid));
    return takeDescriptors(entry.descriptors, &es->es_descriptor, source, syntaxPmtEsDescTexts);
}

template <class Source>
PSI_IN_PLACE bool takePmtLoops(pmtSection *pmt, const Reader &programLoop, Reader streamLoop, const Source &source)
{
    if (!takeDescriptors(programLoop, &pmt->prog_descriptor, source, syntaxPmtProgDescTexts))
        return false;
    NodesOf<Source, psiPmtEs> streams(source.pool, &pmt->es_info, psiPmtEsType);
    while (streamLoop.remaining() != 0)
        if (!takePmtEs(streams, streamLoop, source))
            return false;
    return true;
}

} // namespace

bool psi::core::syntaxAnalysePmt(pmtSection *pmt, const u8 *buf, u32 bufLen, const Keep &keep)
{
    if (!openSection(pmt, buf, bufLen, pmtId, pmtId, syntaxPmtTexts))
        return false;
    Reader body = sectionBody(buf);
    pmt->program_number = takeHeader(pmt, body);
    PSI_INFO("syntaxAnalysePmt: prog_no = 0x%x", static_cast<unsigned>(pmt->program_number));
    pmt->PCR_PID = body.takePid();
    if (body.overrun())
        return refused(syntaxPmtTexts.length);
    PSI_INFO("syntaxAnalysePmt: pcr_pid = 0x%x", static_cast<unsigned>(pmt->PCR_PID));
    pmt->program_info_length = body.takeLength12();
    const Reader loop = body.takeLoop(pmt->program_info_length);
    if (body.overrun()) {
        PSI_ERROR("syntaxAnalysePmt: program_info_length ERROR ");
        return false;
    }
    const auto takeAll = [&](const auto &source) { return takePmtLoops(pmt, loop, body, source); };
    if (!makeTree<psiPmtEs>(pmt, keep, takeAll))
        return false;
    PSI_INFO("syntaxAnalysePmt: OK!");
    return true;
}

namespace {

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

} // namespace

bool psi::core::syntaxAnalyseCat(catSection *cat, const u8 *buf, u32 bufLen, const Keep &keep)
{
    if (!openSection(cat, buf, bufLen, catId, catId, syntaxCatTexts))
        return false;
    Reader body = sectionBody(buf);
    takeHeader(cat, body);
    if (body.overrun())
        return refused(syntaxCatTexts.length);
    const auto takeAll = [&](const auto &source) {
        return takeDescriptors(body, &cat->cat_descriptor, source, syntaxCatDescTexts);
    };
    if (!makeTree<descInfo>(cat, keep, takeAll))
        return false;
    PSI_INFO("syntaxAnalyseCat: OK!");
    return true;
}

namespace {

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

template <class Source>
PSI_IN_PLACE bool takeNetworkStream(NodesOf<Source, psiStreamInfo> &streams, Reader &loop, const NetworkTexts &texts,
                                    StreamLogger logStream, const Source &source)
{
    const NetworkEntry entry = takeNetworkEntry(loop);
    if (loop.overrun())
        return refused(texts.streamLength);
    psiStreamInfo *stream = streams.creat();
    if (Source::mayFail && !stream)
        return refused(texts.streamCreat);
    stream->transport_stream_id = entry.transportStreamId;
    stream->original_network_id = entry.originalNetworkId;
    stream->transport_descriptors_length = entry.descriptorsLength;
    logStream(*stream);
    return takeDescriptors(entry.descriptors, &stream->descriptor, source, texts.streamDescriptors);
}

/** @brief What follows the long header: table descriptors, then the transport stream loop. */
template <class Source>
PSI_IN_PLACE bool takeNetworkLoops(Reader body, u16 &descriptorsLength, descInfo **descriptors,
                                   psiStreamInfo **streamHead, const NetworkTexts &texts, StreamLogger logStream,
                                   const Source &source)
{
    descriptorsLength = body.takeLength12();
    if (!takeDescriptorLoop(body, descriptorsLength, descriptors, texts.descriptors, texts.section.length, source))
        return false;
    Reader loop = body.takeLoop(body.takeLength12());
    if (body.overrun())
        return refused(texts.section.length);
    NodesOf<Source, psiStreamInfo> streams(source.pool, streamHead, psiStreamInfoType);
    while (loop.remaining() != 0)
        if (!takeNetworkStream(streams, loop, texts, logStream, source))
            return false;
    return true;
}

} // namespace

bool psi::core::syntaxAnalyseNit(nitSection *nit, const u8 *buf, u32 bufLen, const Keep &keep)
{
    if (!openSection(nit, buf, bufLen, nitActualId, nitOtherId, syntaxNitTexts.section))
        return false;
    Reader body = sectionBody(buf);
    nit->network_id = takeHeader(nit, body);
    PSI_INFO("syntaxAnalyseNit: network_id = 0x%x", static_cast<unsigned>(nit->network_id));
    const auto takeLoops = [&](const auto &source) {
        return takeNetworkLoops(body, nit->network_descriptors_length, &nit->net_descriptor, &nit->stream_info,
                                syntaxNitTexts, logNitStream, source);
    };
    if (!makeTree<psiStreamInfo>(nit, keep, takeLoops))
        return false;
    PSI_INFO("syntaxAnalyseNit: OK!");
    return true;
}

bool psi::core::syntaxAnalyseBat(batSection *bat, const u8 *buf, u32 bufLen, const Keep &keep)
{
    if (!openSection(bat, buf, bufLen, batId, batId, syntaxBatTexts.section))
        return false;
    Reader body = sectionBody(buf);
    bat->bouquet_id = takeHeader(bat, body);
    PSI_INFO("syntaxAnalyseBat: bouquet_id = 0x%x", static_cast<unsigned>(bat->bouquet_id));
    const auto takeLoops = [&](const auto &source) {
        return takeNetworkLoops(body, bat->bouquet_descriptors_length, &bat->bouquet_descriptor, &bat->stream_info,
                                syntaxBatTexts, logBatStream, source);
    };
    if (!makeTree<psiStreamInfo>(bat, keep, takeLoops))
        return false;
    PSI_INFO("syntaxAnalyseBat: OK!");
    return true;
}

namespace {

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

template <class Source>
PSI_IN_PLACE bool takeSdtService(NodesOf<Source, psiSdtService> &services, Reader &body, const Source &source)
{
    const ServiceEntry entry = takeServiceEntry(body);
    if (body.overrun()) {
        PSI_ERROR("syntaxAnalyseSdt: serviceInfoLen ERROR ");
        return false;
    }
    psiSdtService *service = services.creat();
    if (Source::mayFail && !service) {
        PSI_ERROR("syntaxAnalyseSdt: serviceInfo creat failed! ");
        return false;
    }
    service->service_id = entry.serviceId;
    service->EIT_schedule_flag = entry.eitSchedule;
    service->EIT_present_following_flag = entry.eitPresentFollowing;
    service->running_status = entry.runningStatus;
    service->free_CA_mode = entry.freeCaMode;
    service->descriptors_loop_length = entry.descriptorsLength;
    PSI_INFO("syntaxAnalyseSdt: service_id = %u", service->service_id);
    PSI_INFO("syntaxAnalyseSdt: EIT_flag = %u", service->EIT_schedule_flag);
    PSI_INFO("syntaxAnalyseSdt: EIT_pre_flag = %u", service->EIT_present_following_flag);
    PSI_INFO("syntaxAnalyseSdt: run_stat = %u", service->running_status);
    PSI_INFO("syntaxAnalyseSdt: ca_mode = %u", service->free_CA_mode);
    return takeDescriptors(entry.descriptors, &service->service_descriptor, source, syntaxSdtDescTexts);
}

template <class Source> PSI_IN_PLACE bool takeSdtServices(sdtSection *sdt, Reader loop, const Source &source)
{
    NodesOf<Source, psiSdtService> services(source.pool, &sdt->service_info, psiSdtServiceType);
    while (loop.remaining() != 0)
        if (!takeSdtService(services, loop, source))
            return false;
    return true;
}

} // namespace

bool psi::core::syntaxAnalyseSdt(sdtSection *sdt, const u8 *buf, u32 bufLen, const Keep &keep)
{
    if (!openSection(sdt, buf, bufLen, sdtActualId, sdtOtherId, syntaxSdtTexts))
        return false;
    Reader body = sectionBody(buf);
    sdt->transport_stream_id = takeHeader(sdt, body);
    sdt->original_network_id = body.take16();
    body.skip(1); // reserved_future_use
    if (body.overrun())
        return refused(syntaxSdtTexts.length);
    PSI_INFO("syntaxAnalyseSdt: tsId = 0x%x, orNetId = 0x%x", static_cast<unsigned>(sdt->transport_stream_id),
             static_cast<unsigned>(sdt->original_network_id));
    const auto takeAll = [&](const auto &source) { return takeSdtServices(sdt, body, source); };
    if (!makeTree<psiSdtService>(sdt, keep, takeAll))
        return false;
    PSI_INFO("syntaxAnalyseSdt: OK!");
    return true;
}

namespace {

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

template <class Source>
PSI_IN_PLACE bool takeMgtTable(NodesOf<Source, mgtTableInfo> &tables, Reader &body, const Source &source)
{
    mgtTableInfo *table = tables.creat();
    if (Source::mayFail && !table) {
        PSI_ERROR("syntaxAnalyseMgt: mgtTableInfoCreat creat failed! ");
        return false;
    }
    table->table_type = body.take16();
    table->table_type_PID = body.takePid();
    table->table_type_version_number = body.take8() & 0x1F;
    table->number_bytes = body.take32();
    table->table_type_descriptors_length = body.takeLength12();
    return takeDescriptorLoop(body, table->table_type_descriptors_length, &table->table_desc_info,
                              syntaxMgtTableDescTexts, syntaxMgtTexts.length, source);
}

template <class Source> PSI_IN_PLACE bool takeMgtLoops(mgtSection *mgt, Reader body, const Source &source)
{
    NodesOf<Source, mgtTableInfo> tables(source.pool, &mgt->table_info, mgtTableInfoType);
    for (u32 i = 0; i < mgt->tables_defined; ++i)
        if (!takeMgtTable(tables, body, source))
            return false;
    mgt->descriptors_length = body.takeLength12();
    return takeDescriptorLoop(body, mgt->descriptors_length, &mgt->mgt_desc_info, syntaxMgtDescTexts,
                              syntaxMgtTexts.length, source);
}

} // namespace

bool psi::core::syntaxAnalyseMgt(mgtSection *mgt, const u8 *buf, u32 bufLen, const Keep &keep)
{
    if (!openSection(mgt, buf, bufLen, mgtId, mgtId, syntaxMgtTexts))
        return false;
    mgt->private_indicator = buf[1] >> 6 & 1;
    Reader body = sectionBody(buf);
    takeHeader(mgt, body);
    mgt->protocol_version = body.take8();
    mgt->tables_defined = body.take16();
    const auto takeAll = [&](const auto &source) { return takeMgtLoops(mgt, body, source); };
    if (!makeTree<mgtTableInfo>(mgt, keep, takeAll))
        return false;
    PSI_INFO("syntaxAnalyseMgt: OK!");
    return true;
}

/* ------------------------------------------------------------------------------------------------------------------
 * Dispatch
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

/** @brief How a table type is parsed, and the record of its tree. */
struct SyntaxOps {
    bool (*parse)(void *record, const u8 *buf, u32 bufLen, const Keep &keep);
    const RecordType *type;
};

template <class Record, bool (*parser)(Record *, const u8 *, u32, const Keep &)>
constexpr SyntaxOps opsOf(const RecordTypeOf<Record> &type)
{
    return {[](void *record, const u8 *buf, u32 bufLen, const Keep &keep) {
                return parser(static_cast<Record *>(record), buf, bufLen, keep);
            },
            &type};
}

constexpr SyntaxOps noOps = {nullptr, nullptr};
constexpr SyntaxOps sdtOps = opsOf<sdtSection, syntaxAnalyseSdt>(sdtSectionType);
constexpr SyntaxOps nitOps = opsOf<nitSection, syntaxAnalyseNit>(nitSectionType);

/** @brief By table-type code. */
constexpr SyntaxOps syntaxOps[tableTypes] = {
    opsOf<patSection, syntaxAnalysePat>(patSectionType),
    opsOf<pmtSection, syntaxAnalysePmt>(pmtSectionType),
    sdtOps,
    sdtOps,
    nitOps,
    nitOps,
    opsOf<batSection, syntaxAnalyseBat>(batSectionType),
    opsOf<catSection, syntaxAnalyseCat>(catSectionType),
    noOps,
    opsOf<mgtSection, syntaxAnalyseMgt>(mgtSectionType),
    noOps,
    noOps,
    opsOf<ebitSection, syntaxAnalyseEbit>(ebitSectionType),
    opsOf<ebctSection, syntaxAnalyseEbct>(ebctSectionType),
    opsOf<ebcatSection, syntaxAnalyseEbcat>(ebcatSectionType),
    opsOf<ebcctSection, syntaxAnalyseEbcct>(ebcctSectionType),
};

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
    PoolGuard pool(psiMp);
    pool.expectTree(bufLen);
    void *record = creatRecord(pool, *ops.type);
    if (!record)
        return -1;
    if (!ops.parse(record, buf, bufLen, {pool, true})) {
        destroyRecord(pool, record, *ops.type);
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
    if (!ops.type) {
        PSI_WARNING("syntaxDestroyPsiSection: psiType = %lu, not support!", static_cast<unsigned long>(type));
        return -1;
    }
    PoolGuard pool(psiMp);
    return destroyRecord(pool, section, *ops.type);
}
