#include "psiMake.h"

using namespace psi::core;

/* ------------------------------------------------------------------------------------------------------------------
 * Terrestrial VCT. A/65 6.3.1
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

/** @brief Bytes that the loops of a section may take. */
constexpr u32 vctBudget = 1008;
constexpr u32 channelFixedSize = 32;
constexpr u32 shortNameLen = 14;
constexpr SplitTexts vctTexts = {
    PSI_TEXT(error, "vctMakeSection: objDataInfo is NULL!"),
    PSI_TEXT(error, "vctMakeSection: vct SectionDataDestroy failed!"),
    PSI_TEXT(info, "vctMakeSection: lastSectionNumber = %u"),
    PSI_TEXT(info, "vctMakeSection: section make OK! sectionNo=%u, sectionLen=%u"),
    {
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

u32 channelSize(const progInfo &prog)
{
    return channelFixedSize + sumOf(prog.sdtDescList, keptDescriptorSize) + 6 * streamCount(prog) + 5;
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
    const u32 lengthAt = section.reserve(2);
    putServiceLocation(section, prog);
    for (const descInfo *desc = prog.sdtDescList; desc; desc = nextOf(desc))
        if (desc->descTag != serviceLocationTag)
            section.putDescriptor(*desc);
    section.patchLength(lengthAt, 0xFC00, (section.size() - lengthAt - 2) & 0x03FFU);
}

/** @brief The channels, in front of them their number. */
void putChannels(SectionWriter &section, const ListRange<progInfo> &channels)
{
    const u32 countAt = section.reserve(1);
    u32 count = 0;
    channels.forEach([&](const progInfo &prog) {
        putChannel(section, prog);
        ++count;
    });
    section.patch8(countAt, count);
}

i32 makeVct(tsInfo *model, u8 number, u8 last, ListCursor<progInfo> &channels, ListCursor<descInfo> &descriptors)
{
    constexpr u32 fieldsSize = 4; // protocol_version, num_channels_in_section, additional_descriptors_length
    PoolGuard pool(psiMp);
    u32 used = 0;
    const ListRange<progInfo> taken = channels.take(used, vctBudget, channelSize);
    const u32 channelBytes = used;
    const ListRange<descInfo> additional = descriptors.take(used, channels.done() ? vctBudget : used, descriptorSize);
    NewSection section = beginSection(pool, model, {PSI_VCT, number, model->tsId, 0},
                                      {terrestrialVctId, model->tsId, model->sdtHead.version_number, number, last},
                                      fieldsSize + used, vctTexts);
    if (!section)
        return -1;
    section.put8(0); // protocol_version
    putChannels(section, taken);
    section.putLength10(used - channelBytes);
    additional.forEach([&](const descInfo &desc) { section.putDescriptor(desc); });
    section.seal(psipSectionFlags);
    return 0;
}

} // namespace

i32 vctMakeSection(tsInfo *objDataInfo)
{
    if (!objDataInfo)
        return makeFail(vctTexts.noModel);
    if (removeOld(objDataInfo, PSI_VCT, vctTexts) == -1)
        return -1;
    const u32 channelBytes = sumOf(objDataInfo->progList, channelSize);
    const u32 descriptorBytes = sumOf(objDataInfo->vctDescList, descriptorSize);
    ListCursor<progInfo> channels(objDataInfo->progList, channelBytes);
    ListCursor<descInfo> descriptors(objDataInfo->vctDescList, descriptorBytes);
    return makeSections(channelBytes + descriptorBytes, vctBudget, vctTexts,
                        [&](u8 number, u8 last) { return makeVct(objDataInfo, number, last, channels, descriptors); });
}

/* ------------------------------------------------------------------------------------------------------------------
 * MGT. A/65 6.2
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

constexpr StoreTexts mgtStoreTexts = {
    PSI_TEXT(error, "mgtMakeSection: sectionData creat failed!"),
    PSI_TEXT(error, "mgtMakeSection: sectionData->buf buddy_malloc failed!"),
};

constexpr u32 mgtEntriesAt = 11;
constexpr u32 newMgtSize = 28;
constexpr u16 terrestrialVct = 0x0000;
constexpr u16 cableVct = 0x0002;

/** @brief The entry that announces a VCT, as far as it is rewritten. A/65 table 6.2. */
void putVctEntry(SectionWriter &section, const tsInfo *model, u16 vctLength)
{
    section.put16(terrestrialVct);
    section.putPid(psipPid);
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
void putNewMgt(NewSection &section, const tsInfo *model, u16 vctLength)
{
    section.putHeader({mgtId, 0x0000, 0, 0, 0});
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
    return sectionSize(section) - crcLen;
}

/** @brief A copy of the template with its entry at `entry` rewritten. */
void putPatchedMgt(NewSection &section, const u8 *mgt, u32 entry, const tsInfo *model, u16 vctLength)
{
    constexpr u32 rewritten = 9;
    section.putBytes(mgt, entry);
    putVctEntry(section, model, vctLength);
    section.putBytes(mgt + entry + rewritten, endOfContent(mgt) - entry - rewritten);
    section.put32(psiCalculateCrc(section.bytes(), section.size()));
}

/** @brief The gate in front of a template: it is a whole MGT with all of its header. */
i32 checkMgtTemplate(const sectionData &node)
{
    if (psiCheckCrc(node.buf, node.len) == -1) {
        MAKE_ERROR("mgtMakeSection analyseMgt: tsCrcPsi ERROR ");
        return -1;
    }
    if (node.buf[0] != mgtId)
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

/**
 * @brief Put an MGT in the place of all that are stored.
 * @param mgt a copy of the template, or null: then a minimal one is made
 * @param entry where the template's entry of the VCT lies
 */
i32 replaceMgt(PoolGuard &pool, tsInfo *model, const u8 *mgt, u32 entry, u16 vctLength)
{
    if (singleTypeSectionDataDestroy(&model->sectionList, PSI_MGT) == -1) {
        MAKE_ERROR("mgtMakeSection: mgt SectionDataDestroy failed!");
        return -1;
    }
    NewSection section(pool, model, {PSI_MGT, 0, 0, 0}, mgt ? sectionSize(mgt) : newMgtSize, mgtStoreTexts);
    if (!section)
        return -1;
    if (mgt)
        putPatchedMgt(section, mgt, entry, model, vctLength);
    else
        putNewMgt(section, model, vctLength);
    MAKE_INFO("mgtMakeSection: section make OK!");
    return 0;
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
    const u32 entry = oldMgt ? findVctEntry(oldMgt->buf, endOfContent(oldMgt->buf)) : 0;
    PoolGuard pool(psiMp);
    // The template is a section, as long as its section_length says: what a node has behind it does not count.
    u8 *const mgt = entry != 0 ? copyBytes(pool, oldMgt->buf, sectionSize(oldMgt->buf)) : nullptr;
    if (entry != 0 && !mgt)
        return -1;
    const i32 result = replaceMgt(pool, objDataInfo, mgt, entry, vctLength);
    pool.release(mgt);
    return result;
}
