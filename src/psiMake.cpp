#include "psiWriter.h"

using namespace psi::core;

namespace {

/** @brief Bytes that the loops of a section may take. */
constexpr u32 patBudget = 1012;
constexpr u32 catBudget = 1012;
constexpr u32 pmtBudget = 1008;
constexpr u32 sdtBudget = 1009;
constexpr u32 vctBudget = 1008;
constexpr u32 networkBudget = 1008;

i32 makeFail(const LogText &text)
{
    makeLog(text);
    return -1;
}

/** @brief The first stored section that `matches`, or null. */
template <class Matches> sectionData *findSection(const tsInfo *model, Matches matches)
{
    sectionData *node = model->sectionList;
    while (node && !matches(*node))
        node = nextOf(node);
    return node;
}

/** @brief File the finished section. */
i32 store(tsInfo *model, const SectionTag &tag, const SectionWriter &section, const StoreTexts &texts)
{
    return storeSection(&model->sectionList, tag, section.bytes(), section.size(), texts) ? 0 : -1;
}

/* ------------------------------------------------------------------------------------------------------------------
 * Tables that are split by their byte count: PAT, CAT, SDT, VCT
 * ---------------------------------------------------------------------------------------------------------------- */

struct SplitTexts {
    LogText noModel, oldStays;
    LogTextOf<unsigned> lastNumber;
    LogTextOf<unsigned, unsigned> made;
    StoreTexts store;
};

/** @brief The sections that an earlier run made. */
i32 removeOld(tsInfo *model, u8 type, const SplitTexts &texts)
{
    return singleTypeSectionDataDestroy(&model->sectionList, type) == -1 ? makeFail(texts.oldStays) : 0;
}

/** @brief Of a table's bytes 16 bits count. */
constexpr u32 countedBytes(u32 bytes)
{
    return bytes & 0xFFFF;
}

/**
 * @brief Make sections 0 to last_section_number.
 *
 * Their number follows from the byte count alone: behind a last section that comes out exactly full stands an empty
 * one, and what the gaps at the ends of sections push out of the last one is left out.
 *
 * @param bytes what the loops of all sections take together
 * @param budget what those of one section may take
 * @param makeOne called with section_number and last_section_number; 0, or -1 to end it
 */
template <class MakeOne> i32 makeSections(u32 bytes, u32 budget, const SplitTexts &texts, MakeOne makeOne)
{
    const u8 last = static_cast<u8>(countedBytes(bytes) / budget);
    makeLog(texts.lastNumber, static_cast<unsigned>(last));
    for (u32 number = 0; number <= last; ++number)
        if (makeOne(static_cast<u8>(number), last) == -1)
            return -1;
    return 0;
}

/** @brief Close a section, tell of it and file it. */
i32 finish(tsInfo *model, SectionWriter &section, u32 flags, const SectionTag &tag, const SplitTexts &texts)
{
    section.seal(flags);
    makeLog(texts.made, static_cast<unsigned>(tag.sectionNo), static_cast<unsigned>(section.size()));
    return store(model, tag, section, texts.store);
}

/* ------------------------------------------------------------------------------------------------------------------
 * PAT. ISO/IEC 13818-1 2.4.4.3
 * ---------------------------------------------------------------------------------------------------------------- */

constexpr u32 patEntrySize = 4;
constexpr SplitTexts patTexts = {
    PSI_TEXT(error, "patMakeSection: objDataInfo is NULL!"),
    PSI_TEXT(error, "patMakeSection: pat SectionDataDestroy failed!"),
    PSI_TEXT(info, "patMakeSection: lastSectionNumber = %u!"),
    PSI_TEXT(info, "patMakeSection: section make OK! secitonNo=%u, sectionLen=%u"),
    {
        psimake_rpt_lvl,
        PSI_TEXT(error, "patMakeSection: sectionData creat failed!"),
        PSI_TEXT(error, "patMakeSection: sectionData->buf buddy_malloc failed!"),
    },
};

u32 patEntryBytes(const progInfo &)
{
    return patEntrySize;
}

void putPatEntry(SectionWriter &section, u16 programNumber, u16 pid)
{
    section.put16(programNumber);
    section.putPid(pid);
}

bool hasNetworkEntry(const tsInfo *model)
{
    return model->netFlag == 1;
}

i32 makePat(tsInfo *model, u8 number, u8 last, ListCursor<progInfo> &programs)
{
    SectionBuffer<maxSectionLen> section;
    section.putHeader({0x00, model->tsId, model->patHead.version_number, number, last});
    u32 used = 0;
    if (number == 0 && hasNetworkEntry(model)) {
        putPatEntry(section, 0, model->netPid);
        used = patEntrySize;
    }
    programs.fill(used, patBudget, patEntryBytes,
                  [&](const progInfo &prog) { putPatEntry(section, prog.progNo, prog.pmtPid); });
    return finish(model, section, psiSectionFlags, {PSI_PAT, number, model->tsId, 0}, patTexts);
}

} // namespace

i32 patMakeSection(tsInfo *objDataInfo)
{
    if (!objDataInfo)
        return makeFail(patTexts.noModel);
    if (removeOld(objDataInfo, PSI_PAT, patTexts) == -1)
        return -1;
    const u32 networkBytes = hasNetworkEntry(objDataInfo) ? patEntrySize : 0;
    const u32 bytes = sumOf(objDataInfo->progList, patEntryBytes) + networkBytes;
    ListCursor<progInfo> programs(objDataInfo->progList);
    return makeSections(bytes, patBudget, patTexts,
                        [&](u8 number, u8 last) { return makePat(objDataInfo, number, last, programs); });
}

/* ------------------------------------------------------------------------------------------------------------------
 * PMT. ISO/IEC 13818-1 2.4.4.8
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

constexpr StoreTexts pmtStoreTexts = {
    psimake_rpt_lvl,
    PSI_TEXT(error, "pmtMakeOneSection: sectionData creat failed!"),
    PSI_TEXT(error, "pmtMakeOneSection: sectionData->buf buddy_malloc failed!"),
};

/** @brief Bytes of a PMT without its loops: header, PCR_PID, program_info_length and CRC_32. */
constexpr u32 pmtFixedSize = 16;
constexpr u32 pmtStreamFixedSize = 5;

u32 loopSize(const caInfo *caList, const descInfo *descList)
{
    return sumOf(caList, caSize) + sumOf(descList, descriptorSize);
}

/** @brief CA descriptors first, then the others, behind their length. */
void putLoop(SectionWriter &section, const caInfo *caList, const descInfo *descList)
{
    section.putLength12(loopSize(caList, descList));
    for (; caList; caList = nextOf(caList))
        section.putCa(*caList);
    section.putDescriptors(descList);
}

void putStream(SectionWriter &section, const esInfo &es)
{
    section.put8(es.esType);
    section.putPid(es.esPid);
    putLoop(section, es.caList, es.descList);
}

const progInfo *findProgram(const tsInfo *model, u16 progNo)
{
    const progInfo *prog = model->progList;
    while (prog && prog->progNo != progNo)
        prog = nextOf(prog);
    return prog;
}

/** @brief Bytes of all descriptors of a program, those of its streams included. */
u32 pmtDescriptorBytes(const progInfo &prog)
{
    return loopSize(prog.caList, prog.pmtDescList) +
           sumOf(prog.esList, [](const esInfo &es) { return loopSize(es.caList, es.descList); });
}

/**
 * @brief Does the program fit one section?
 *
 * The limit that counts is on the descriptors. The streams' own five bytes do not count, so a section may pass
 * 1024 bytes; only what section_length cannot tell, or the buffer hold, is refused as well.
 */
bool pmtFits(const progInfo &prog)
{
    const u32 descriptors = pmtDescriptorBytes(prog);
    const u32 streams = sumOf(prog.esList, [](const esInfo &) { return pmtStreamFixedSize; });
    const u32 size = pmtFixedSize + descriptors + streams;
    const bool descriptorsFit = countedBytes(descriptors) <= pmtBudget;
    if (descriptorsFit && size <= maxLongSectionLen)
        return true;
    const u32 told = descriptorsFit ? size : pmtFixedSize + countedBytes(descriptors);
    MAKE_ERROR("pmtMakeOneSection: progNo=0x%x, sectionLen = %d, over than 1024!", static_cast<unsigned>(prog.progNo),
               static_cast<int>(told));
    return false;
}

i32 makePmt(tsInfo *model, const progInfo &prog)
{
    SectionBuffer<maxLongSectionLen> section;
    section.putHeader({0x02, prog.progNo, prog.pmtHead.version_number, 0, 0});
    section.putPid(prog.pcrPid);
    putLoop(section, prog.caList, prog.pmtDescList);
    for (const esInfo *es = prog.esList; es; es = nextOf(es))
        putStream(section, *es);
    section.seal(psiSectionFlags);
    MAKE_INFO("pmtMakeOneSection: section make OK! progNo=0x%x, sectionLen=%u", static_cast<unsigned>(prog.progNo),
              section.size());
    return store(model, {PSI_PMT, 0, prog.progNo, prog.pmtPid}, section, pmtStoreTexts);
}

} // namespace

i32 pmtMakeOneSection(tsInfo *objDataInfo, u32 progNo)
{
    if (!objDataInfo) {
        MAKE_ERROR("pmtMakeOneSection: tableMakeObj is NULL!");
        return -1;
    }
    const u16 wanted = static_cast<u16>(progNo);
    sectionData *old = findSection(
        objDataInfo, [=](const sectionData &node) { return node.psiType == PSI_PMT && node.idExt == wanted; });
    if (old && sectionDataDestroy(&objDataInfo->sectionList, old) == -1) {
        MAKE_ERROR("pmtMakeOneSection: sectionDataDestroy failed!");
        return -1;
    }
    const progInfo *prog = findProgram(objDataInfo, wanted);
    if (!prog)
        return 0;
    return pmtFits(*prog) ? makePmt(objDataInfo, *prog) : -1;
}

i32 pmtMakeSection(tsInfo *objDataInfo)
{
    if (!objDataInfo) {
        MAKE_ERROR("pmtMakeSection: tableMakeObj is NULL!");
        return -1;
    }
    if (singleTypeSectionDataDestroy(&objDataInfo->sectionList, PSI_PMT) == -1) {
        MAKE_ERROR("pmtMakeSection: pmt SectionDataDestroy failed!");
        return -1;
    }
    for (const progInfo *prog = objDataInfo->progList; prog; prog = nextOf(prog))
        if (pmtMakeOneSection(objDataInfo, prog->progNo) == -1)
            MAKE_ERROR("pmtMakeSection: progNO = 0x%x is NULL!", static_cast<unsigned>(prog->progNo));
    return 0;
}

/* ------------------------------------------------------------------------------------------------------------------
 * CAT. ISO/IEC 13818-1 2.4.4.6
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

constexpr SplitTexts catTexts = {
    PSI_TEXT(error, "catMakeSection: objDataInfo is NULL!"),
    PSI_TEXT(error, "catMakeSection: cat SectionDataDestroy failed!"),
    PSI_TEXT(info, "catMakeSection: lastSectionNumber = %u"),
    PSI_TEXT(info, "catMakeSection: section make OK! sectionNo=%u, sectionLen=%u"),
    {
        psimake_rpt_lvl,
        PSI_TEXT(error, "catMakeSection: sectionData creat failed!"),
        PSI_TEXT(error, "catMakeSection: sectionData->buf buddy_malloc failed!"),
    },
};

i32 makeCat(tsInfo *model, u8 number, u8 last, ListCursor<caInfo> &cas, ListCursor<descInfo> &descriptors)
{
    SectionBuffer<maxSectionLen> section;
    section.putHeader({0x01, 0xFFFF, model->catHead.version_number, number, last});
    u32 used = 0;
    // A section that a CA descriptor did not fit takes no other descriptor either.
    if (cas.fill(used, catBudget, caSize, [&](const caInfo &ca) { section.putCa(ca); }))
        descriptors.fill(used, catBudget, descriptorSize, [&](const descInfo &desc) { section.putDescriptor(desc); });
    return finish(model, section, psiSectionFlags, {PSI_CAT, number, 0, 0}, catTexts);
}

} // namespace

i32 catMakeSection(tsInfo *objDataInfo)
{
    if (!objDataInfo)
        return makeFail(catTexts.noModel);
    if (removeOld(objDataInfo, PSI_CAT, catTexts) == -1)
        return -1;
    if (!(objDataInfo->tableMask & 1U << PSI_CAT)) {
        MAKE_INFO("catMakeSection: cat not exist. return!");
        return 0;
    }
    ListCursor<caInfo> cas(objDataInfo->catCaList);
    ListCursor<descInfo> descriptors(objDataInfo->catDescList);
    const u32 bytes = loopSize(objDataInfo->catCaList, objDataInfo->catDescList);
    return makeSections(bytes, catBudget, catTexts,
                        [&](u8 number, u8 last) { return makeCat(objDataInfo, number, last, cas, descriptors); });
}

/* ------------------------------------------------------------------------------------------------------------------
 * SDT actual. EN 300 468 5.2.3
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

constexpr u32 serviceFixedSize = 5;
constexpr SplitTexts sdtTexts = {
    PSI_TEXT(error, "sdtaMakeSection: tableMakeObj is NULL!"),
    PSI_TEXT(error, "sdtaMakeSection: sdta SectionDataDestroy failed!"),
    PSI_TEXT(info, "sdtaMakeSection: lastSectionNumber = %u"),
    PSI_TEXT(info, "sdtaMakeSection: section make OK! sectionNo=%u, sectionLen=%u"),
    {
        psimake_rpt_lvl,
        PSI_TEXT(error, "sdtaMakeSection: sectionData creat failed!"),
        PSI_TEXT(error, "sdtaMakeSection: sectionData->buf buddy_malloc failed!"),
    },
};

u32 serviceLoopSize(const progInfo &prog)
{
    return prog.snameLen + prog.pnameLen + 5U + sumOf(prog.sdtDescList, descriptorSize);
}

u32 serviceSize(const progInfo &prog)
{
    return serviceFixedSize + serviceLoopSize(prog);
}

/** @brief What precedes the descriptors of a service. The reserved bits in front of the EIT flags are zeros. */
void putServiceFields(SectionWriter &section, u16 serviceId, u32 eitFlags, u32 statusAndCa, u32 loopLength)
{
    section.put16(serviceId);
    section.put8(eitFlags);
    section.put8(statusAndCa | loopLength >> 8);
    section.put8(loopLength);
}

void putService(SectionWriter &section, const progInfo &prog)
{
    const u32 eitFlags = prog.EIT_pre_flag | static_cast<u32>(prog.EIT_flag) << 1;
    const u32 statusAndCa = static_cast<u32>(prog.ca_mode) << 4 | static_cast<u32>(prog.run_stat) << 5;
    putServiceFields(section, prog.progNo, eitFlags, statusAndCa, serviceLoopSize(prog));
    section.put8(0x48); // service_descriptor, EN 300 468 6.2.33
    section.put8(prog.snameLen + prog.pnameLen + 3U);
    section.put8(prog.prog_type);
    section.put8(prog.pnameLen);
    section.putBytes(prog.pname, prog.pnameLen);
    section.put8(prog.snameLen);
    section.putBytes(prog.sname, prog.snameLen);
    section.putDescriptors(prog.sdtDescList);
}

/** @brief What an SDT has between its header and its services. */
void putSdtFields(SectionWriter &section, u16 originalNetworkId)
{
    section.put16(originalNetworkId);
    section.put8(0xFF); // reserved_future_use
}

i32 makeSdt(tsInfo *model, u8 number, u8 last, ListCursor<progInfo> &services)
{
    SectionBuffer<maxSectionLen> section;
    section.putHeader({0x42, model->tsId, model->sdtHead.version_number, number, last});
    putSdtFields(section, model->orNetId);
    u32 used = 0;
    services.fill(used, sdtBudget, serviceSize, [&](const progInfo &prog) { putService(section, prog); });
    return finish(model, section, psiSectionFlags, {PSI_SDT_ACTUAL, number, model->tsId, 0}, sdtTexts);
}

} // namespace

i32 sdtaMakeSection(tsInfo *objDataInfo)
{
    if (!objDataInfo)
        return makeFail(sdtTexts.noModel);
    if (!objDataInfo->progList)
        return -1;
    if (removeOld(objDataInfo, PSI_SDT_ACTUAL, sdtTexts) == -1)
        return -1;
    const u32 bytes = sumOf(objDataInfo->progList, serviceSize);
    MAKE_INFO("sdtaMakeSection: progInfo loopLen = %u", static_cast<unsigned>(countedBytes(bytes)));
    ListCursor<progInfo> services(objDataInfo->progList);
    return makeSections(bytes, sdtBudget, sdtTexts,
                        [&](u8 number, u8 last) { return makeSdt(objDataInfo, number, last, services); });
}

/* ------------------------------------------------------------------------------------------------------------------
 * Terrestrial VCT. A/65 6.3.1
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

constexpr u32 channelFixedSize = 32;
constexpr u32 shortNameLen = 14;
constexpr u8 serviceLocationTag = 0xA1;
constexpr u8 languageTag = 0x0A;
constexpr SplitTexts vctTexts = {
    PSI_TEXT(error, "vctMakeSection: objDataInfo is NULL!"),
    PSI_TEXT(error, "vctMakeSection: vct SectionDataDestroy failed!"),
    PSI_TEXT(info, "vctMakeSection: lastSectionNumber = %u"),
    PSI_TEXT(info, "vctMakeSection: section make OK! sectionNo=%u, sectionLen=%u"),
    {
        psimake_rpt_lvl,
        PSI_TEXT(error, "vctMakeSection: sectionData creat failed!"),
        PSI_TEXT(error, "vctMakeSection: sectionData->buf buddy_malloc failed!"),
    },
};

u32 streamCount(const progInfo &prog)
{
    return sumOf(prog.esList, [](const esInfo &) { return 1U; });
}

/** @brief The channel's own descriptors; a service_location_descriptor among them is replaced. */
u32 keptDescriptorSize(const descInfo &desc)
{
    return desc.descTag == serviceLocationTag ? 0 : descriptorSize(desc);
}

u32 channelLoopSize(const progInfo &prog)
{
    return sumOf(prog.sdtDescList, keptDescriptorSize) + 6 * streamCount(prog) + 5;
}

u32 channelSize(const progInfo &prog)
{
    return channelFixedSize + channelLoopSize(prog);
}

void putShortName(SectionWriter &section, const progInfo &prog)
{
    const u32 n = prog.snameLen < shortNameLen ? prog.snameLen : shortNameLen;
    section.putBytes(prog.sname, n);
    section.putBytes(nullptr, shortNameLen - n);
}

/** @brief ISO_639_language_code of a stream's first ISO_639_language_descriptor, or zeros. */
const u8 *languageOf(const esInfo &es)
{
    const descInfo *desc = es.descList;
    while (desc && desc->descTag != languageTag)
        desc = nextOf(desc);
    return desc && desc->descLen >= 3 ? desc->descData : nullptr;
}

/** @brief A service_location_descriptor from the program's streams. A/65 6.9.5. */
void putServiceLocation(SectionWriter &section, const progInfo &prog)
{
    const u32 streams = streamCount(prog);
    section.put8(serviceLocationTag);
    section.put8(6 * streams + 3);
    section.putPid(prog.pcrPid);
    section.put8(streams);
    for (const esInfo *es = prog.esList; es; es = nextOf(es)) {
        section.put8(es->esType);
        section.putPid(es->esPid);
        section.putBytes(languageOf(*es), 3);
    }
}

void putChannel(SectionWriter &section, const progInfo &prog)
{
    putShortName(section, prog);
    const u32 major = prog.major_channel_number & 0x03FFU;
    const u32 minor = prog.minor_channel_number & 0x03FFU;
    section.put8(0xF0U | major >> 6);
    section.put16((major & 0x3FU) << 10 | minor);
    section.put8(prog.modulation_mode);
    section.put32(0); // carrier_frequency
    section.put16(prog.channel_TSID);
    section.put16(prog.progNo);
    section.put8(0x0D); // neither ETM nor restrictions, not hidden
    section.put8(0xC0U | prog.service_type);
    section.put16(prog.source_id);
    section.putLength10(channelLoopSize(prog));
    putServiceLocation(section, prog);
    for (const descInfo *desc = prog.sdtDescList; desc; desc = nextOf(desc))
        if (desc->descTag != serviceLocationTag)
            section.putDescriptor(*desc);
}

/** @brief The channels that fit, in front of them their number. @return true when no channel is left over */
bool putChannels(SectionWriter &section, u32 &used, ListCursor<progInfo> &channels)
{
    const u32 countAt = section.reserve(1);
    u32 count = 0;
    const bool all = channels.fill(used, vctBudget, channelSize, [&](const progInfo &prog) {
        putChannel(section, prog);
        ++count;
    });
    section.patch8(countAt, count);
    return all;
}

i32 makeVct(tsInfo *model, u8 number, u8 last, ListCursor<progInfo> &channels, ListCursor<descInfo> &descriptors)
{
    SectionBuffer<maxSectionLen> section;
    section.putHeader({0xC8, model->tsId, model->sdtHead.version_number, number, last});
    section.put8(0); // protocol_version
    u32 used = 0;
    const bool allChannels = putChannels(section, used, channels);
    const u32 channelBytes = used;
    const u32 lengthAt = section.reserve(2);
    if (allChannels)
        descriptors.fill(used, vctBudget, descriptorSize, [&](const descInfo &desc) { section.putDescriptor(desc); });
    section.patchLength(lengthAt, 0xFC00, used - channelBytes);
    return finish(model, section, psipSectionFlags, {PSI_VCT, number, model->tsId, 0}, vctTexts);
}

} // namespace

i32 vctMakeSection(tsInfo *objDataInfo)
{
    if (!objDataInfo)
        return makeFail(vctTexts.noModel);
    if (removeOld(objDataInfo, PSI_VCT, vctTexts) == -1)
        return -1;
    ListCursor<progInfo> channels(objDataInfo->progList);
    ListCursor<descInfo> descriptors(objDataInfo->vctDescList);
    const u32 bytes = sumOf(objDataInfo->progList, channelSize) + sumOf(objDataInfo->vctDescList, descriptorSize);
    return makeSections(bytes, vctBudget, vctTexts,
                        [&](u8 number, u8 last) { return makeVct(objDataInfo, number, last, channels, descriptors); });
}

/* ------------------------------------------------------------------------------------------------------------------
 * MGT. A/65 6.2
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

constexpr StoreTexts mgtStoreTexts = {
    psimake_rpt_lvl,
    PSI_TEXT(error, "mgtMakeSection: sectionData creat failed!"),
    PSI_TEXT(error, "mgtMakeSection: sectionData->buf buddy_malloc failed!"),
};

constexpr u32 mgtEntriesAt = 11;
constexpr u16 terrestrialVct = 0x0000;
constexpr u16 cableVct = 0x0002;

/** @brief The entry that announces a VCT, as far as it is rewritten. A/65 table 6.2. */
void putVctEntry(SectionWriter &section, const tsInfo *model, u16 vctLength)
{
    section.put16(terrestrialVct);
    section.putPid(0x1FFB);
    section.put8(0xE0U | model->sdtHead.version_number);
    section.put32(vctLength);
}

/**
 * @brief Where the entry of the terrestrial VCT lies in an MGT; without one that of the last cable VCT.
 * @return 0 when there is neither
 */
u32 findVctEntry(const u8 *mgt, u32 end)
{
    constexpr u32 entryFixedSize = 11;
    u32 found = 0;
    u32 at = mgtEntriesAt;
    const u32 tables = beU16(mgt + 9);
    for (u32 i = 0; i < tables && at + entryFixedSize <= end; ++i) {
        const u16 type = beU16(mgt + at);
        if (type == terrestrialVct)
            return at;
        if (type == cableVct)
            found = at;
        at += entryFixedSize + mgt[at + 10]; // of table_type_descriptors_length the low byte counts
    }
    return found;
}

/** @brief A minimal MGT with the terrestrial VCT as its only table. */
void putNewMgt(SectionWriter &section, const tsInfo *model, u16 vctLength)
{
    section.putHeader({0xC7, 0x0000, 0, 0, 0});
    section.put8(0);  // protocol_version
    section.put16(1); // tables_defined
    putVctEntry(section, model, vctLength);
    section.putLength12(0);
    section.putLength12(0);
    section.seal(psipSectionFlags);
}

/** @brief Where CRC_32 begins. */
u32 endOfContent(const u8 *section)
{
    return (beU16(section + 1) & 0x0FFFU) + sectionLengthEnd - crcLen;
}

/** @brief A copy of the template with its VCT entry rewritten. @return false when it has no such entry */
bool putPatchedMgt(SectionWriter &section, const u8 *mgt, const tsInfo *model, u16 vctLength)
{
    const u32 end = endOfContent(mgt);
    const u32 entry = findVctEntry(mgt, end);
    if (entry == 0)
        return false;
    constexpr u32 rewritten = 9;
    section.putBytes(mgt, entry);
    putVctEntry(section, model, vctLength);
    section.putBytes(mgt + entry + rewritten, end - entry - rewritten);
    section.put32(psiCalculateCrc(section.bytes(), section.size()));
    return true;
}

/** @brief The gate in front of a template: it is a whole MGT with all of its header. */
i32 checkMgtTemplate(const sectionData &node)
{
    if (psiCheckCrc(node.buf, node.len) == -1) {
        MAKE_ERROR("mgtMakeSection analyseMgt: tsCrcPsi ERROR ");
        return -1;
    }
    if (node.buf[0] != 0xC7)
        return -1;
    // That section_length stays within the node is part of the check above.
    if (endOfContent(node.buf) < mgtEntriesAt) {
        MAKE_ERROR("mgtMakeSection analyseMgt: section length ERROR ");
        return -1;
    }
    return 0;
}

const sectionData *firstOfType(const tsInfo *model, u8 type)
{
    return findSection(model, [=](const sectionData &node) { return node.psiType == type; });
}

} // namespace

i32 mgtMakeSection(tsInfo *objDataInfo)
{
    if (!objDataInfo) {
        MAKE_ERROR("vctMakeSection: objDataInfo is NULL!");
        return -1;
    }
    const sectionData *vct = firstOfType(objDataInfo, PSI_VCT);
    const u16 vctLength = vct ? vct->len : u16{0};
    const sectionData *oldMgt = firstOfType(objDataInfo, PSI_MGT);
    if (oldMgt && checkMgtTemplate(*oldMgt) == -1)
        return -1;
    SectionBuffer<maxAnySectionLen> section;
    if (!oldMgt || !putPatchedMgt(section, oldMgt->buf, objDataInfo, vctLength))
        putNewMgt(section, objDataInfo, vctLength);
    if (singleTypeSectionDataDestroy(&objDataInfo->sectionList, PSI_MGT) == -1) {
        MAKE_ERROR("mgtMakeSection: mgt SectionDataDestroy failed!");
        return -1;
    }
    if (store(objDataInfo, {PSI_MGT, 0, 0, 0}, section, mgtStoreTexts) == -1)
        return -1;
    MAKE_INFO("mgtMakeSection: section make OK!");
    return 0;
}

/* ------------------------------------------------------------------------------------------------------------------
 * Dispatch of the generators
 * ---------------------------------------------------------------------------------------------------------------- */

i32 psiMakeSection(tsInfo *objDataInfo, u32 type)
{
    if (!objDataInfo) {
        MAKE_ERROR("psiMakeSection: objDataInfo is NULL!");
        return -1;
    }
    switch (type) {
    case PSI_PAT:
        return patMakeSection(objDataInfo);
    case PSI_PMT:
        return pmtMakeSection(objDataInfo);
    case PSI_SDT_ACTUAL:
        return sdtaMakeSection(objDataInfo);
    case PSI_CAT:
        return catMakeSection(objDataInfo);
    case PSI_MGT:
        return mgtMakeSection(objDataInfo);
    case PSI_VCT:
        return vctMakeSection(objDataInfo);
    default:
        MAKE_WARNING("psiMakeSection: psiType = %lu, not support!", static_cast<unsigned long>(type));
        return -1;
    }
}

i32 AutoMakeSection(psiObjId objId, u32 standard)
{
    constexpr u32 atsc = 1;
    if (standard > atsc) {
        MAKE_ERROR("makeTable: standard = %lu, not support!", static_cast<unsigned long>(standard));
        return -1;
    }
    tableMakeObj *obj = getOutTableObj(objId);
    if (!obj) {
        MAKE_ERROR("makeTable: objId=%lu, get tableMakeObj is NULL!", static_cast<unsigned long>(objId));
        return -1;
    }
    tsInfo *model = &obj->tsInfo;
    if (patMakeSection(model) == -1)
        return -1;
    pmtMakeSection(model);
    catMakeSection(model);
    if (standard == atsc) {
        vctMakeSection(model);
        mgtMakeSection(model); // announces the length of the VCT that was just made
    } else {
        sdtaMakeSection(model);
    }
    return 0;
}

/* ------------------------------------------------------------------------------------------------------------------
 * Regeneration: an edited SDT, NIT or BAT tree becomes sections again
 *
 * One algorithm for the three. What differs stands in a traits type: the records, the sizes and the texts.
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

struct RemakeTexts {
    LogText noTree, noModel, actual, other;
    LogTextOf<unsigned> contentLen;
    LogText split, destroyFailed, noTotal, noCopy, noEntry, noDescriptor, noEntryDescriptor, noData;
    LogTextOf<int> parseFailed;
    LogTextOf<unsigned> gathered;
    LogText treeFailed;
    LogTextOf<unsigned> lastNumber, build;
    LogTextOf<unsigned, unsigned, unsigned> made;
    StoreTexts store;
};

/* ---- SDT. EN 300 468 5.2.3 ---- */

struct SdtRemake {
    using Section = sdtSection;
    using Entry = psiSdtService;
    static constexpr u8 actualTableId = 0x42, actualType = PSI_SDT_ACTUAL, otherType = PSI_SDT_OTHER;
    static constexpr u32 budget = sdtBudget;
    static constexpr u32 fixedLength = 12; /**< section_length without the loop */
    static constexpr u32 entryFixedSize = serviceFixedSize;
    static constexpr u16 Section::*id = &Section::transport_stream_id;
    static constexpr descInfo *Section::*descriptors = nullptr;
    static constexpr Entry *Section::*entries = &Section::service_info;
    static constexpr auto entryDescriptors = &Entry::service_descriptor;
    static constexpr auto creat = psiSdtServiceCreat;
    static const RemakeTexts texts;

    static void copyFields(Entry &to, const Entry &from)
    {
        to.free_CA_mode = from.free_CA_mode;
        to.running_status = from.running_status;
        to.EIT_schedule_flag = from.EIT_schedule_flag;
        to.EIT_present_following_flag = from.EIT_present_following_flag;
        to.service_id = from.service_id;
    }
    /** @brief What precedes the entries. @return false when there is no room for entries */
    static bool putTableFields(SectionWriter &section, const Section &tree, ListCursor<descInfo> &, u32 &)
    {
        putSdtFields(section, tree.original_network_id);
        return true;
    }
    static void patchEntriesLength(SectionWriter &, u32, u32) {}
    static void putFields(SectionWriter &section, const Entry &entry, u32 loopLength)
    {
        const u32 eitFlags = static_cast<u32>(entry.EIT_schedule_flag) << 1 | entry.EIT_present_following_flag;
        const u32 statusAndCa = static_cast<u32>(entry.running_status) << 5 | static_cast<u32>(entry.free_CA_mode) << 4;
        putServiceFields(section, entry.service_id, eitFlags, statusAndCa, loopLength);
    }
};

constexpr RemakeTexts SdtRemake::texts = {
    PSI_TEXT(error, "syntaxSdtMakeSeciton: sdtSection is NULL!"),
    PSI_TEXT(error, "syntaxSdtMakeSeciton: objDataInfo is NULL!"),
    PSI_TEXT(info, "syntaxSdtMakeSeciton: sdta make section!"),
    PSI_TEXT(info, "syntaxSdtMakeSeciton: sdto make section!"),
    PSI_TEXT(info, "syntaxSdtMakeSeciton: sectionLen = %u"),
    PSI_TEXT(info, "syntaxSdtMakeSeciton: sectionnum 1 -> 2!"),
    PSI_TEXT(error, "syntaxSdtMakeSeciton: sectionDataDestroy failed"),
    PSI_TEXT(error, "syntaxSdtMakeSeciton: buddy_malloc TotalSdtSection  failed"),
    PSI_TEXT(error, "syntaxSdtMakeSeciton: buddy_malloc tempSdtSection  failed"),
    PSI_TEXT(error, "syntaxSdtMakeSeciton: psiSdtServiceCreat newProgInfo failed"),
    noText, // no descriptors of the table's own
    PSI_TEXT(error, "syntaxSdtMakeSeciton: descInfoCreat newProgInfo failed"),
    PSI_TEXT(error, "syntaxSdtMakeSeciton: descInfo->descData buddy_malloc failed!"),
    PSI_TEXT(error, "syntaxSdtMakeSeciton: syntaxAnalysePsi(sdt sectionNo is %d)  failed"),
    PSI_TEXT(info, "syntaxSdtMakeSeciton: make TotalSdtSection, sectionNo = %u"),
    PSI_TEXT(error, "syntaxSdtMakeSeciton: syntaxDestroyPsiSection  failed"),
    PSI_TEXT(info, "syntaxSdtMakeSeciton: lastSectionNumber = %u"),
    noText,
    PSI_TEXT(info, "syntaxSdtMakeSeciton: section make OK! tsId=%u, sectionNo=%u, sectionLen=%u"),
    {
        psimake_rpt_lvl,
        PSI_TEXT(error, "syntaxSdtMakeSeciton: sectionData creat failed!"),
        PSI_TEXT(error, "syntaxSdtMakeSeciton: sectionData->buf buddy_malloc failed!"),
    },
};

/* ---- NIT and BAT. EN 300 468 5.2.1, 5.2.2 ---- */

/** @brief What NIT and BAT have in common: table descriptors, then transport streams, each loop behind its length. */
struct NetworkRemake {
    using Entry = psiStreamInfo;
    static constexpr u32 budget = networkBudget;
    static constexpr u32 fixedLength = 13;
    static constexpr u32 entryFixedSize = 6;
    static constexpr auto entryDescriptors = &Entry::descriptor;
    static constexpr auto creat = psiStreamInfoCreat;

    static void copyFields(Entry &to, const Entry &from)
    {
        to.transport_stream_id = from.transport_stream_id;
        to.original_network_id = from.original_network_id;
    }
    /** @brief A section that a descriptor did not fit takes no entries either. */
    template <class Section>
    static bool putTableFields(SectionWriter &section, const Section &, ListCursor<descInfo> &descriptors, u32 &used)
    {
        const u32 lengthAt = section.reserve(2);
        const bool all =
            descriptors.fill(used, budget, descriptorSize, [&](const descInfo &desc) { section.putDescriptor(desc); });
        section.patchLength(lengthAt, 0xF000, used);
        section.reserve(2); // transport_stream_loop_length
        return all;
    }
    /** @brief transport_stream_loop_length stands right in front of the entries. */
    static void patchEntriesLength(SectionWriter &section, u32 entriesAt, u32 entryBytes)
    {
        section.patchLength(entriesAt - 2, 0xF000, entryBytes);
    }
    static void putFields(SectionWriter &section, const Entry &entry, u32 loopLength)
    {
        section.put16(entry.transport_stream_id);
        section.put16(entry.original_network_id);
        section.putLength12(loopLength);
    }
};

struct NitRemake : NetworkRemake {
    using Section = nitSection;
    static constexpr u8 actualTableId = 0x40, actualType = PSI_NIT_ACTUAL, otherType = PSI_NIT_OTHER;
    static constexpr u16 Section::*id = &Section::network_id;
    static constexpr descInfo *Section::*descriptors = &Section::net_descriptor;
    static constexpr Entry *Section::*entries = &Section::stream_info;
    static const RemakeTexts texts;
};

constexpr RemakeTexts NitRemake::texts = {
    PSI_TEXT(error, "syntaxNitMakeSeciton: nitSection is NULL!"),
    PSI_TEXT(error, "syntaxNitMakeSeciton: objDataInfo is NULL!"),
    PSI_TEXT(info, "syntaxNitMakeSeciton: nita make section!"),
    PSI_TEXT(info, "syntaxNitMakeSeciton: nito make section!"),
    PSI_TEXT(info, "syntaxNitMakeSeciton: sectionLen = %u"),
    noText,
    PSI_TEXT(error, "syntaxNitMakeSeciton: sectionDataDestroy failed"),
    PSI_TEXT(error, "syntaxNitMakeSeciton: buddy_malloc TotalNitSection  failed"),
    PSI_TEXT(error, "syntaxNitMakeSeciton: buddy_malloc tempNitSection  failed"),
    PSI_TEXT(error, "syntaxNitMakeSeciton: psiStreamInfoCreat newStreamInfo failed"),
    PSI_TEXT(error, "syntaxNitMakeSeciton: descInfoCreat net_desc_info failed"),
    PSI_TEXT(error, "syntaxNitMakeSeciton: descInfoCreat stream_desc_info failed"),
    PSI_TEXT(error, "syntaxNitMakeSeciton: descInfo->descData buddy_malloc failed!"),
    PSI_TEXT(error, "syntaxNitMakeSeciton: syntaxAnalysePsi(Nit sectionNo is %d)  failed"),
    PSI_TEXT(info, "syntaxNitMakeSeciton: make TotalNitSection, sectionNo = %u"),
    PSI_TEXT(error, "syntaxNitMakeSeciton: syntaxDestroyPsiSection  failed"),
    PSI_TEXT(info, "syntaxNitMakeSeciton: lastSectionNumber = %u"),
    PSI_TEXT(info, "syntaxNitMakeSeciton: lastSectionNumber = %u!"),
    PSI_TEXT(info, "syntaxNitMakeSeciton: section make OK! netId=%u, sectionNo=%u, sectionLen=%u"),
    {
        psimake_rpt_lvl,
        PSI_TEXT(error, "syntaxNitMakeSeciton: sectionData creat failed!"),
        PSI_TEXT(error, "syntaxNitMakeSeciton: sectionData->buf buddy_malloc failed!"),
    },
};

struct BatRemake : NetworkRemake {
    using Section = batSection;
    static constexpr u8 actualTableId = 0x4A, actualType = PSI_BAT, otherType = PSI_BAT;
    static constexpr u16 Section::*id = &Section::bouquet_id;
    static constexpr descInfo *Section::*descriptors = &Section::bouquet_descriptor;
    static constexpr Entry *Section::*entries = &Section::stream_info;
    static const RemakeTexts texts;
};

constexpr RemakeTexts BatRemake::texts = {
    PSI_TEXT(error, "syntaxBatMakeSeciton: batSection is NULL!"),
    PSI_TEXT(error, "syntaxBatMakeSeciton: objDataInfo is NULL!"),
    noText,
    noText,
    PSI_TEXT(info, "syntaxBatMakeSeciton: sectionLen = %u"),
    noText,
    PSI_TEXT(error, "syntaxBatMakeSeciton: sectionDataDestroy failed"),
    PSI_TEXT(error, "syntaxBatMakeSeciton: buddy_malloc TotalBatSection  failed"),
    PSI_TEXT(error, "syntaxBatMakeSeciton: buddy_malloc tempBatSection  failed"),
    PSI_TEXT(error, "syntaxBatMakeSeciton: psiStreamInfoCreat newStreamInfo failed"),
    PSI_TEXT(error, "syntaxBatMakeSeciton: descInfoCreat bouquet_desc_info failed"),
    PSI_TEXT(error, "syntaxBatMakeSeciton: descInfoCreat stream_desc_info failed"),
    PSI_TEXT(error, "syntaxBatMakeSeciton: descInfo->descData buddy_malloc failed!"),
    PSI_TEXT(error, "syntaxBatMakeSeciton: syntaxAnalysePsi(Bat sectionNo is %d)  failed"),
    PSI_TEXT(info, "syntaxBatMakeSeciton: make TotalBatSection, sectionNo = %u"),
    PSI_TEXT(error, "syntaxBatMakeSeciton: syntaxDestroyPsiSection  failed"),
    PSI_TEXT(info, "syntaxBatMakeSeciton: lastSectionNumber = %u"),
    noText,
    PSI_TEXT(info, "syntaxBatMakeSeciton: section make OK! bouquetId=%u, sectionNo=%u, sectionLen=%u"),
    {
        psimake_rpt_lvl,
        PSI_TEXT(error, "syntaxBatMakeSeciton: sectionData creat failed!"),
        PSI_TEXT(error, "syntaxBatMakeSeciton: sectionData->buf buddy_malloc failed!"),
    },
};

/* ---- The algorithm ---- */

/** @brief Move all nodes of a list to the end of another. */
template <class Node> void appendList(Node *&to, Node *&from)
{
    Node *end = to;
    while (end && nextOf(end))
        end = nextOf(end);
    if (end)
        end->link.next = from;
    else
        to = from;
    from = nullptr;
}

/** @brief Copy a list of descriptors with their payloads to the end of another. */
bool copyDescriptors(descInfo **to, const descInfo *from, const LogText &noNode, const LogText &noData)
{
    for (; from; from = nextOf(from)) {
        descInfo *copy = descInfoCreat(to);
        if (!copy) {
            makeLog(noNode);
            return false;
        }
        copy->descTag = from->descTag;
        copy->descLen = from->descLen;
        if (from->descLen == 0)
            continue;
        copy->descData = static_cast<u8 *>(psi_buddy_malloc(from->descLen));
        if (!copy->descData) {
            makeLog(noData);
            descInfoDestroy(to, copy, 1);
            return false;
        }
        copyOrZero(copy->descData, from->descData, from->descLen);
    }
    return true;
}

/** @brief One write-back of a tree. */
template <class Table> class Remake {
    using Section = typename Table::Section;
    using Entry = typename Table::Entry;

public:
    Remake(tsInfo *model, const Section *tree, u16 id)
        : model_(model), tree_(tree), id_(id), actual_(tree->table_id == Table::actualTableId),
          type_(actual_ ? Table::actualType : Table::otherType)
    {
    }

    i32 run();

private:
    /** @brief A tree of this table that goes when its owner goes. */
    class Tree {
    public:
        explicit Tree(u8 type) : type_(type) {}
        ~Tree() { destroy(); }
        Tree(const Tree &) = delete;
        Tree &operator=(const Tree &) = delete;

        Section *get() const { return section_; }
        /** @brief Own a tree; there was none before. */
        void take(Section *section) { section_ = section; }
        i32 destroy()
        {
            Section *section = section_;
            section_ = nullptr;
            return section ? syntaxDestroyPsiSection(type_, section) : 0;
        }

    private:
        u8 type_;
        Section *section_ = nullptr;
    };

    static u32 entryLoopSize(const Entry &entry) { return sumOf(entry.*Table::entryDescriptors, descriptorSize); }
    static u32 entrySize(const Entry &entry) { return Table::entryFixedSize + entryLoopSize(entry); }
    /** @brief The head of the table's own descriptors; null for a table that has none. */
    static descInfo **descriptorsOf(Section &section)
    {
        if constexpr (Table::descriptors != nullptr)
            return &(section.*Table::descriptors);
        return nullptr;
    }
    static const descInfo *firstDescriptorOf(const Section &section)
    {
        if constexpr (Table::descriptors != nullptr)
            return section.*Table::descriptors;
        return nullptr;
    }
    static void putEntry(SectionWriter &section, const Entry &entry)
    {
        Table::putFields(section, entry, entryLoopSize(entry));
        section.putDescriptors(entry.*Table::entryDescriptors);
    }

    sectionData *findStored(u32 number) const;
    Section *emptyCopy() const;
    bool copyContent(Section &to) const;
    bool copyTree(Tree &to) const;
    bool parseStored(u32 number, Tree &to) const;
    bool gatherOne(u32 number, Section &total) const;
    bool gather(Tree &total) const;
    static u32 countExtra(const Section &source);
    i32 replaceOne();
    i32 rebuild(const Section &source);
    i32 build(const Section &source, u32 base, u32 last, u32 extra);
    i32 buildOne(const Section &source, u8 number, u8 last, ListCursor<descInfo> &descriptors,
                 ListCursor<Entry> &entries);

    tsInfo *model_;
    const Section *tree_;
    u16 id_;
    bool actual_;
    u8 type_;
};

/** @brief The first stored section of the table with this number, or null. */
template <class Table> sectionData *Remake<Table>::findStored(u32 number) const
{
    return findSection(model_, [=](const sectionData &one) {
        return one.psiType == type_ && one.idExt == id_ && one.sectionNo == number;
    });
}

/** @brief A record with the tree's header and empty lists, or null. */
template <class Table> typename Table::Section *Remake<Table>::emptyCopy() const
{
    auto *copy = static_cast<Section *>(psi_buddy_malloc(sizeof(Section)));
    if (!copy)
        return nullptr;
    *copy = *tree_;
    copy->*Table::entries = nullptr;
    if (descInfo **head = descriptorsOf(*copy))
        *head = nullptr;
    return copy;
}

template <class Table> bool Remake<Table>::copyContent(Section &to) const
{
    const RemakeTexts &texts = Table::texts;
    descInfo **head = descriptorsOf(to);
    if (head && !copyDescriptors(head, firstDescriptorOf(*tree_), texts.noDescriptor, texts.noData))
        return false;
    for (const Entry *entry = tree_->*Table::entries; entry; entry = nextOf(entry)) {
        Entry *copy = Table::creat(&(to.*Table::entries));
        if (!copy) {
            makeLog(texts.noEntry);
            return false;
        }
        Table::copyFields(*copy, *entry);
        if (!copyDescriptors(&(copy->*Table::entryDescriptors), entry->*Table::entryDescriptors,
                             texts.noEntryDescriptor, texts.noData))
            return false;
    }
    return true;
}

/** @brief A deep copy of the caller's tree, so that the caller's is only read. */
template <class Table> bool Remake<Table>::copyTree(Tree &to) const
{
    to.take(emptyCopy());
    if (!to.get()) {
        makeLog(Table::texts.noCopy);
        return false;
    }
    return copyContent(*to.get());
}

/** @brief The tree of a stored section. @return false when there is none or it cannot be parsed */
template <class Table> bool Remake<Table>::parseStored(u32 number, Tree &to) const
{
    const sectionData *node = findStored(number);
    if (!node)
        return false;
    void *parsed = nullptr;
    if (syntaxAnalysePsi(type_, &parsed, node->buf, node->len) == -1) {
        makeLog(Table::texts.parseFailed, static_cast<int>(number));
        return false;
    }
    to.take(static_cast<Section *>(parsed));
    return true;
}

/** @brief Move the content of section `number` to the whole table; a number without a section gives nothing. */
template <class Table> bool Remake<Table>::gatherOne(u32 number, Section &total) const
{
    Tree part(type_);
    if (number == tree_->section_number) {
        if (!copyTree(part))
            return false;
    } else if (!parseStored(number, part)) {
        return true;
    }
    Section &section = *part.get();
    makeLog(Table::texts.gathered, static_cast<unsigned>(section.section_number));
    if (descInfo **head = descriptorsOf(section))
        appendList(*descriptorsOf(total), *head);
    appendList(total.*Table::entries, section.*Table::entries);
    if (part.destroy() == -1) {
        makeLog(Table::texts.treeFailed);
        return false;
    }
    return true;
}

/** @brief The whole table: the edited tree in its place among the stored sections. */
template <class Table> bool Remake<Table>::gather(Tree &total) const
{
    total.take(emptyCopy());
    if (!total.get()) {
        makeLog(Table::texts.noTotal);
        return false;
    }
    for (u32 number = 0; number <= tree_->last_section_number; ++number)
        if (!gatherOne(number, *total.get()))
            return false;
    return true;
}

/** @brief Sections needed beyond the first. */
template <class Table> u32 Remake<Table>::countExtra(const Section &source)
{
    constexpr u32 maxLength = maxSectionLen - sectionLengthEnd;
    u32 extra = 0;
    u32 length = Table::fixedLength;
    const auto count = [&](u32 size) {
        length += size;
        if (length > maxLength) {
            length = Table::fixedLength + size;
            ++extra;
        }
    };
    for (const descInfo *desc = firstDescriptorOf(source); desc; desc = nextOf(desc))
        count(descriptorSize(*desc));
    for (const Entry *entry = source.*Table::entries; entry; entry = nextOf(entry))
        count(entrySize(*entry));
    return extra;
}

template <class Table>
i32 Remake<Table>::buildOne(const Section &source, u8 number, u8 last, ListCursor<descInfo> &descriptors,
                            ListCursor<Entry> &entries)
{
    const u16 id = source.*Table::id;
    SectionBuffer<maxSectionLen> section;
    section.putHeader({source.table_id, id, source.version_number, number, last});
    u32 used = 0;
    const bool roomForEntries = Table::putTableFields(section, source, descriptors, used);
    const u32 entriesAt = section.size();
    if (roomForEntries)
        entries.fill(used, Table::budget, entrySize, [&](const Entry &entry) { putEntry(section, entry); });
    Table::patchEntriesLength(section, entriesAt, section.size() - entriesAt);
    section.seal(psiSectionFlags);
    makeLog(Table::texts.made, static_cast<unsigned>(id), static_cast<unsigned>(number),
            static_cast<unsigned>(section.size()));
    return store(model_, {type_, number, id, 0}, section, Table::texts.store);
}

template <class Table> i32 Remake<Table>::build(const Section &source, u32 base, u32 last, u32 extra)
{
    makeLog(Table::texts.build, static_cast<unsigned>(last));
    ListCursor<descInfo> descriptors(firstDescriptorOf(source));
    ListCursor<Entry> entries(source.*Table::entries);
    for (u32 k = 0; k <= extra; ++k)
        if (buildOne(source, static_cast<u8>(base + k), static_cast<u8>(last), descriptors, entries) == -1)
            return -1;
    return 0;
}

/** @brief The tree takes the place of the stored section of its number. */
template <class Table> i32 Remake<Table>::replaceOne()
{
    sectionData *old = findStored(tree_->section_number);
    if (old && sectionDataDestroy(&model_->sectionList, old) == -1)
        return makeFail(Table::texts.destroyFailed);
    return build(*tree_, tree_->section_number, tree_->last_section_number, 0);
}

/** @brief All stored sections of the table go; the source is split anew and numbered from 0. */
template <class Table> i32 Remake<Table>::rebuild(const Section &source)
{
    const u32 extra = countExtra(source);
    makeLog(Table::texts.lastNumber, static_cast<unsigned>(extra));
    if (singleTypeAndIdExtSectionDataDestroy(&model_->sectionList, type_, id_) == -1)
        return makeFail(Table::texts.destroyFailed);
    return build(source, 0, extra, extra);
}

template <class Table> i32 Remake<Table>::run()
{
    makeLog(actual_ ? Table::texts.actual : Table::texts.other);
    const u32 content =
        countedBytes(sumOf(firstDescriptorOf(*tree_), descriptorSize) + sumOf(tree_->*Table::entries, entrySize));
    makeLog(Table::texts.contentLen, static_cast<unsigned>(content));
    if (content < Table::budget)
        return replaceOne();
    if (tree_->last_section_number == 0) {
        makeLog(Table::texts.split);
        return rebuild(*tree_);
    }
    Tree total(type_);
    return gather(total) ? rebuild(*total.get()) : -1;
}

template <class Table> i32 remake(tsInfo *model, const typename Table::Section *tree, u16 id)
{
    if (!tree)
        return makeFail(Table::texts.noTree);
    if (!model)
        return makeFail(Table::texts.noModel);
    return Remake<Table>(model, tree, id).run();
}

} // namespace

i32 syntaxSdtMakeSeciton(tsInfo *objDataInfo, sdtSection *sdt, u16 tsId)
{
    return remake<SdtRemake>(objDataInfo, sdt, tsId);
}

i32 syntaxNitMakeSeciton(tsInfo *objDataInfo, nitSection *nit, u16 netId)
{
    return remake<NitRemake>(objDataInfo, nit, netId);
}

i32 syntaxBatMakeSeciton(tsInfo *objDataInfo, batSection *bat, u16 bouquetId)
{
    return remake<BatRemake>(objDataInfo, bat, bouquetId);
}

i32 syntaxSIMakeSeciton(tsInfo *objDataInfo, void *pointer, u16 idExt, u32 type)
{
    if (!pointer) {
        MAKE_ERROR("syntaxSIMakeSeciton: pointer is NULL!");
        return -1;
    }
    if (!objDataInfo) {
        MAKE_ERROR("syntaxSIMakeSeciton: objDataInfo is NULL!");
        return -1;
    }
    switch (type) {
    case PSI_SDT_ACTUAL:
    case PSI_SDT_OTHER:
        return syntaxSdtMakeSeciton(objDataInfo, static_cast<sdtSection *>(pointer), idExt);
    case PSI_NIT_ACTUAL:
    case PSI_NIT_OTHER:
        return syntaxNitMakeSeciton(objDataInfo, static_cast<nitSection *>(pointer), idExt);
    case PSI_BAT:
        return syntaxBatMakeSeciton(objDataInfo, static_cast<batSection *>(pointer), idExt);
    default:
        MAKE_WARNING("syntaxSIMakeSeciton psiType = %lu, not support!", static_cast<unsigned long>(type));
        return -1;
    }
}
