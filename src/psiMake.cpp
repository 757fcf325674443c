#include "psiMake.h"

using namespace psi::core;

i32 psi::core::removeOld(tsInfo *model, u8 type, const SplitTexts &texts)
{
    return singleTypeSectionDataDestroy(&model->sectionList, type) == -1 ? makeFail(texts.oldStays) : 0;
}

NewSection psi::core::beginSection(PoolGuard &pool, tsInfo *model, const SectionTag &tag, const SectionHeader &header,
                                   u32 contentSize, const SplitTexts &texts)
{
    const u32 size = emptySectionSize + contentSize;
    makeLog(texts.made, static_cast<unsigned>(tag.sectionNo), static_cast<unsigned>(size));
    NewSection section(pool, model, tag, size, texts.store);
    if (section)
        section.putHeader(header);
    return section;
}

/* ------------------------------------------------------------------------------------------------------------------
 * PAT. ISO/IEC 13818-1 2.4.4.3
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

/** @brief Bytes that the loops of a section may take. */
constexpr u32 patBudget = 1012;
constexpr u32 patEntrySize = 4;
constexpr SplitTexts patTexts = {
    PSI_TEXT(error, "patMakeSection: objDataInfo is NULL!"),
    PSI_TEXT(error, "patMakeSection: pat SectionDataDestroy failed!"),
    PSI_TEXT(info, "patMakeSection: lastSectionNumber = %u!"),
    PSI_TEXT(info, "patMakeSection: section make OK! secitonNo=%u, sectionLen=%u"),
    {
        PSI_TEXT(error, "patMakeSection: sectionData creat failed!"),
        PSI_TEXT(error, "patMakeSection: sectionData->buf buddy_malloc failed!"),
    },
};

u32 patEntryBytes(const progInfo &)
{
    return patEntrySize;
}

u32 patEntry(u16 programNumber, u16 pid)
{
    return static_cast<u32>(programNumber) << 16 | pidField(pid);
}

/**
 * @brief The first entries of a table, written down while they are counted.
 *
 * The way from program to program is most of the work, and what it has passed is no longer near when it is gone again.
 */
class PatStart {
public:
    /** @return whether there was room */
    bool put(u16 programNumber, u16 pid)
    {
        if (size_ == sizeof(bytes_))
            return false;
        storeBe32(bytes_ + size_, patEntry(programNumber, pid));
        size_ += patEntrySize;
        return true;
    }
    u32 size() const { return size_; }
    /** @brief Put them into the section that is made first. */
    void moveTo(SectionWriter &section)
    {
        section.putBytes(bytes_, size_);
        size_ = 0;
    }

private:
    u32 size_ = 0;
    u8 bytes_[(poolInPlace ? 128 : 1) * patEntrySize]; // a small build has little stack
};

bool hasNetworkEntry(const tsInfo *model)
{
    return model->netFlag == 1;
}

i32 makePat(tsInfo *model, u8 number, u8 last, PatStart &start, ListCursor<progInfo> &programs)
{
    PoolGuard pool(psiMp);
    u32 used = start.size();
    const ListRange<progInfo> taken = programs.take(used, patBudget, patEntryBytes);
    NewSection section =
        beginSection(pool, model, {PSI_PAT, number, model->tsId, 0},
                     {patId, model->tsId, model->patHead.version_number, number, last}, used, patTexts);
    if (!section)
        return -1;
    start.moveTo(section);
    taken.forEach([&](const progInfo &prog) { section.put32(patEntry(prog.progNo, prog.pmtPid)); });
    section.seal(psiSectionFlags);
    return 0;
}

} // namespace

i32 patMakeSection(tsInfo *objDataInfo)
{
    if (!objDataInfo)
        return makeFail(patTexts.noModel);
    if (removeOld(objDataInfo, PSI_PAT, patTexts) == -1)
        return -1;
    PatStart start;
    if (hasNetworkEntry(objDataInfo))
        start.put(0, objDataInfo->netPid);
    const progInfo *rest = objDataInfo->progList;
    while (rest && start.put(rest->progNo, rest->pmtPid))
        rest = nextOf(rest);
    const u32 bytes = sumOf(rest, patEntryBytes);
    ListCursor<progInfo> programs(rest, bytes);
    return makeSections(start.size() + bytes, patBudget, patTexts,
                        [&](u8 number, u8 last) { return makePat(objDataInfo, number, last, start, programs); });
}

/* ------------------------------------------------------------------------------------------------------------------
 * PMT. ISO/IEC 13818-1 2.4.4.8
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

/** @brief Bytes that the descriptors of a PMT may take. */
constexpr u32 pmtBudget = 1008;
constexpr StoreTexts pmtStoreTexts = {
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
    u8 *const length = section.claim(2);
    for (; caList; caList = nextOf(caList))
        section.putCa(*caList);
    section.putDescriptors(descList);
    section.closeLoop(length, 2, 0xF000);
}

void putStream(SectionWriter &section, const esInfo &es)
{
    section.put8(es.esType);
    section.putPid(es.esPid);
    putLoop(section, es.caList, es.descList);
}

/** @brief What the loops of a program's PMT take. */
struct PmtSize {
    u32 descriptors; /**< those of the streams included */
    u32 section;
};

PmtSize pmtSizeOf(const progInfo &prog)
{
    u32 descriptors = loopSize(prog.caList, prog.pmtDescList);
    u32 streams = 0;
    for (const esInfo *es = prog.esList; es; es = nextOf(es)) {
        descriptors += loopSize(es->caList, es->descList);
        streams += pmtStreamFixedSize;
    }
    return {descriptors, pmtFixedSize + descriptors + streams};
}

/**
 * @brief Does the program fit one section?
 *
 * The limit that counts is on the descriptors. The streams' own five bytes do not count, so a section may pass
 * 1024 bytes; only what section_length cannot tell is refused as well.
 */
bool pmtFits(const progInfo &prog, const PmtSize &size)
{
    const u32 counted = countedBytes(size.descriptors);
    if (counted <= pmtBudget && size.section <= maxLongSectionLen)
        return true;
    const u32 told = counted <= pmtBudget ? size.section : pmtFixedSize + counted;
    MAKE_ERROR("pmtMakeOneSection: progNo=0x%x, sectionLen = %d, over than 1024!", static_cast<unsigned>(prog.progNo),
               static_cast<int>(told));
    return false;
}

i32 makePmt(tsInfo *model, const progInfo &prog)
{
    PoolGuard pool(psiMp);
    const PmtSize size = pmtSizeOf(prog);
    if (!pmtFits(prog, size))
        return -1;
    MAKE_INFO("pmtMakeOneSection: section make OK! progNo=0x%x, sectionLen=%u", static_cast<unsigned>(prog.progNo),
              static_cast<unsigned>(size.section));
    NewSection section(pool, model, {PSI_PMT, 0, prog.progNo, prog.pmtPid}, size.section, pmtStoreTexts);
    if (!section)
        return -1;
    section.putHeader({pmtId, prog.progNo, prog.pmtHead.version_number, 0, 0});
    section.putPid(prog.pcrPid);
    putLoop(section, prog.caList, prog.pmtDescList);
    for (const esInfo *es = prog.esList; es; es = nextOf(es))
        putStream(section, *es);
    section.seal(psiSectionFlags);
    return 0;
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
    return prog ? makePmt(objDataInfo, *prog) : 0;
}

namespace {

/** @brief So many programs are looked up one by one. */
constexpr u32 fewPrograms = 64;

/** @brief The program numbers that stood on the list already. */
struct MadePrograms {
    u8 bits[0x10000 / 8];

    /** @brief An empty one, or null. */
    static MadePrograms *creat()
    {
        PoolGuard pool(psiMp);
        return static_cast<MadePrograms *>(allocateZeroed(pool, sizeof(MadePrograms)));
    }
    /** @brief Add a number. @return true when it is new */
    bool add(u16 progNo)
    {
        u8 &byte = bits[progNo >> 3];
        const u8 bit = static_cast<u8>(1U << (progNo & 7U));
        const bool isNew = (byte & bit) == 0;
        byte = static_cast<u8>(byte | bit);
        return isNew;
    }
};

/** @brief The first program with its number has no section to replace and need not be looked up. */
i32 makePmtOf(tsInfo *model, const progInfo &prog, MadePrograms *made)
{
    return made && made->add(prog.progNo) ? makePmt(model, prog) : pmtMakeOneSection(model, prog.progNo);
}

} // namespace

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
    const bool many = sumOf(objDataInfo->progList, [](const progInfo &) { return 1U; }) > fewPrograms;
    MadePrograms *made = many ? MadePrograms::creat() : nullptr;
    for (const progInfo *prog = objDataInfo->progList; prog; prog = nextOf(prog))
        if (makePmtOf(objDataInfo, *prog, made) == -1)
            MAKE_ERROR("pmtMakeSection: progNO = 0x%x is NULL!", static_cast<unsigned>(prog->progNo));
    if (made)
        psi_buddy_free(made);
    return 0;
}

/* ------------------------------------------------------------------------------------------------------------------
 * CAT. ISO/IEC 13818-1 2.4.4.6
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

/** @brief Bytes that the loops of a section may take. */
constexpr u32 catBudget = 1012;
constexpr SplitTexts catTexts = {
    PSI_TEXT(error, "catMakeSection: objDataInfo is NULL!"),
    PSI_TEXT(error, "catMakeSection: cat SectionDataDestroy failed!"),
    PSI_TEXT(info, "catMakeSection: lastSectionNumber = %u"),
    PSI_TEXT(info, "catMakeSection: section make OK! sectionNo=%u, sectionLen=%u"),
    {
        PSI_TEXT(error, "catMakeSection: sectionData creat failed!"),
        PSI_TEXT(error, "catMakeSection: sectionData->buf buddy_malloc failed!"),
    },
};

i32 makeCat(tsInfo *model, u8 number, u8 last, ListCursor<caInfo> &cas, ListCursor<descInfo> &descriptors)
{
    PoolGuard pool(psiMp);
    u32 used = 0;
    const ListRange<caInfo> takenCas = cas.take(used, catBudget, caSize);
    // A section that a CA descriptor did not fit takes no other descriptor either.
    const ListRange<descInfo> taken = descriptors.take(used, cas.done() ? catBudget : used, descriptorSize);
    NewSection section = beginSection(pool, model, {PSI_CAT, number, 0, 0},
                                      {catId, 0xFFFF, model->catHead.version_number, number, last}, used, catTexts);
    if (!section)
        return -1;
    takenCas.forEach([&](const caInfo &ca) { section.putCa(ca); });
    taken.forEach([&](const descInfo &desc) { section.putDescriptor(desc); });
    section.seal(psiSectionFlags);
    return 0;
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
    const u32 caBytes = sumOf(objDataInfo->catCaList, caSize);
    const u32 descriptorBytes = sumOf(objDataInfo->catDescList, descriptorSize);
    ListCursor<caInfo> cas(objDataInfo->catCaList, caBytes);
    ListCursor<descInfo> descriptors(objDataInfo->catDescList, descriptorBytes);
    return makeSections(caBytes + descriptorBytes, catBudget, catTexts,
                        [&](u8 number, u8 last) { return makeCat(objDataInfo, number, last, cas, descriptors); });
}

/* ------------------------------------------------------------------------------------------------------------------
 * SDT actual. EN 300 468 5.2.3
 * ---------------------------------------------------------------------------------------------------------------- */

void psi::core::putSdtFields(SectionWriter &section, u16 originalNetworkId)
{
    section.put16(originalNetworkId);
    section.put8(0xFF); // reserved_future_use
}

u8 *psi::core::beginService(SectionWriter &section, u16 serviceId, u32 eitFlags)
{
    u8 *const fields = section.claim(serviceFixedSize);
    if (fields) {
        storeBe16(fields, serviceId);
        fields[2] = static_cast<u8>(eitFlags);
    }
    return fields;
}

namespace {

constexpr SplitTexts sdtTexts = {
    PSI_TEXT(error, "sdtaMakeSection: tableMakeObj is NULL!"),
    PSI_TEXT(error, "sdtaMakeSection: sdta SectionDataDestroy failed!"),
    PSI_TEXT(info, "sdtaMakeSection: lastSectionNumber = %u"),
    PSI_TEXT(info, "sdtaMakeSection: section make OK! sectionNo=%u, sectionLen=%u"),
    {
        PSI_TEXT(error, "sdtaMakeSection: sectionData creat failed!"),
        PSI_TEXT(error, "sdtaMakeSection: sectionData->buf buddy_malloc failed!"),
    },
};

u32 serviceSize(const progInfo &prog)
{
    return serviceFixedSize + prog.snameLen + prog.pnameLen + 5U + sumOf(prog.sdtDescList, descriptorSize);
}

/** @brief A service_descriptor. EN 300 468 6.2.33. */
void putServiceDescriptor(SectionWriter &section, const progInfo &prog)
{
    u8 *bytes = section.claim(5U + prog.pnameLen + prog.snameLen);
    if (!bytes)
        return;
    bytes[0] = serviceTag;
    bytes[1] = static_cast<u8>(prog.snameLen + prog.pnameLen + 3U);
    bytes[2] = prog.prog_type;
    bytes[3] = prog.pnameLen;
    copyOrZero(bytes + 4, prog.pname, prog.pnameLen);
    bytes += 4 + prog.pnameLen;
    bytes[0] = prog.snameLen;
    copyOrZero(bytes + 1, prog.sname, prog.snameLen);
}

void putService(SectionWriter &section, const progInfo &prog)
{
    const u32 eitFlags = prog.EIT_pre_flag | static_cast<u32>(prog.EIT_flag) << 1;
    const u32 statusAndCa = static_cast<u32>(prog.ca_mode) << 4 | static_cast<u32>(prog.run_stat) << 5;
    u8 *const fields = beginService(section, prog.progNo, eitFlags);
    putServiceDescriptor(section, prog);
    section.putDescriptors(prog.sdtDescList);
    section.closeLoop(fields, serviceFixedSize, statusAndCa << 8);
}

i32 makeSdt(tsInfo *model, u8 number, u8 last, ListCursor<progInfo> &services)
{
    PoolGuard pool(psiMp);
    u32 used = 0;
    const ListRange<progInfo> taken = services.take(used, sdtBudget, serviceSize);
    NewSection section = beginSection(pool, model, {PSI_SDT_ACTUAL, number, model->tsId, 0},
                                      {sdtActualId, model->tsId, model->sdtHead.version_number, number, last},
                                      sdtFieldsSize + used, sdtTexts);
    if (!section)
        return -1;
    putSdtFields(section, model->orNetId);
    taken.forEach([&](const progInfo &prog) { putService(section, prog); });
    section.seal(psiSectionFlags);
    return 0;
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
    MAKE_INFO("sdtaMakeSection: progInfo loopLen = %u", static_cast<unsigned>(bytes));
    ListCursor<progInfo> services(objDataInfo->progList, bytes);
    return makeSections(bytes, sdtBudget, sdtTexts,
                        [&](u8 number, u8 last) { return makeSdt(objDataInfo, number, last, services); });
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
