#include "psiInternal.h"
#include "psiTables.h"

using namespace psi::core;

tableObj *headTableObj = nullptr;

/* ------------------------------------------------------------------------------------------------------------------
 * Section lists
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

constexpr NodeTexts sectionDataTexts = {
    PSI_TEXT(error, "sectionDataCreat: ERROR! headSectionData is NULL!"),
    PSI_TEXT(error, "sectionDataCreat: buddy_malloc sectionData node failed"),
    PSI_TEXT(error, "sectionDataCreat: sectionData zlst_push failed!"),
    PSI_TEXT(error, "sectionDataDestroy: ERROR! headSectionData is NULL!"),
    PSI_TEXT(error, "sectionDataDestroy: ERROR! *headSectionData is NULL!"),
    PSI_TEXT(error, "sectionDataDestroy: ERROR! sectionData is NULL!"),
    PSI_TEXT(error, "sectionDataDestroy: sectionData zlst_delete failed!"),
    PSI_TEXT(info, "sectionDataDestroy: free sectionData OK!"),
};

/** @brief Destroy every section that `matches`; the first failure ends it. */
template <class Matches> i32 destroySections(sectionData **head, Matches matches)
{
    if (!head) {
        PSI_ERROR("singleTypeSectionDataDestroy: ERROR! headSectionData is NULL!");
        return -1;
    }
    for (sectionData *node = *head, *next; node; node = next) {
        next = nextOf(node);
        if (matches(*node) && sectionDataDestroy(head, node) == -1)
            return -1;
    }
    return 0;
}

} // namespace

sectionData *sectionDataCreat(sectionData **head)
{
    return nodeCreat(head, sectionDataTexts);
}

i32 sectionDataDestroy(sectionData **head, sectionData *node)
{
    return nodeDestroy(head, node, sectionDataTexts, [](sectionData &owner) {
        psi_buddy_free(owner.buf);
        return 0;
    });
}

i32 singleTypeSectionDataDestroy(sectionData **head, u32 type)
{
    return destroySections(head, [=](const sectionData &node) { return node.psiType == type; });
}

i32 singleTypeAndIdExtSectionDataDestroy(sectionData **head, u32 type, u32 idExt)
{
    return destroySections(head, [=](const sectionData &node) { return node.psiType == type && node.idExt == idExt; });
}

sectionData *psi::core::storeSection(sectionData **head, const SectionTag &tag, const u8 *bytes, u16 len,
                                     const StoreTexts &texts)
{
    sectionData *node = sectionDataCreat(head);
    if (!node) {
        logText(texts.level, texts.creat);
        return nullptr;
    }
    node->psiType = tag.psiType;
    node->sectionNo = tag.sectionNo;
    node->idExt = tag.idExt;
    node->pid = tag.pid;
    node->len = len;
    node->buf = static_cast<u8 *>(psi_buddy_malloc(len));
    if (!node->buf) {
        logText(texts.level, texts.memory);
        sectionDataDestroy(head, node);
        return nullptr;
    }
    memcpy(node->buf, bytes, len);
    return node;
}

/* ------------------------------------------------------------------------------------------------------------------
 * The model
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

constexpr NodeTexts descInfoTexts = {
    PSI_TEXT(error, "descInfoCreat: ERROR! headDescInfo is NULL!"),
    PSI_TEXT(error, "descInfoCreat: buddy_malloc descInfo node failed"),
    PSI_TEXT(error, "descInfoCreat: descInfo zlst_push failed!"),
    PSI_TEXT(error, "descInfoDestroy: ERROR! headDescInfo is NULL!"),
    PSI_TEXT(error, "descInfoDestroy: ERROR! *headDescInfo is NULL!"),
    PSI_TEXT(error, "descInfoDestroy: ERROR! descInfo is NULL!"),
    PSI_TEXT(error, "descInfoDestroy: descInfo zlst_delete failed!"),
    PSI_TEXT(info, "descInfoDestroy: free descInfo OK!"),
};

constexpr NodeTexts caInfoTexts = {
    PSI_TEXT(error, "caInfoCreat: ERROR! headCaInfo is NULL!"),
    PSI_TEXT(error, "caInfoCreat: buddy_malloc caInfo node failed"),
    PSI_TEXT(error, "caInfoCreat: caInfo zlst_push failed!"),
    PSI_TEXT(error, "caInfoDestroy: ERROR! headCaInfo is NULL!"),
    PSI_TEXT(error, "caInfoDestroy: ERROR! *headCaInfo is NULL!"),
    PSI_TEXT(error, "caInfoDestroy: ERROR! caInfo is NULL!"),
    PSI_TEXT(error, "caInfoDestroy: caInfo zlst_delete failed!"),
    PSI_TEXT(info, "caInfoDestroy: free caInfo OK!"),
};

constexpr NodeTexts esInfoTexts = {
    PSI_TEXT(error, "esInfoCreat: ERROR! headEsInfo is NULL!"),
    PSI_TEXT(error, "esInfoCreat: buddy_malloc descInfo node failed"),
    PSI_TEXT(error, "esInfoCreat: esInfo zlst_push failed!"),
    PSI_TEXT(error, "esInfoDestroy: ERROR! headEsInfo is NULL!"),
    PSI_TEXT(error, "esInfoDestroy: ERROR! *headEsInfo is NULL!"),
    PSI_TEXT(error, "esInfoDestroy: ERROR! esInfo is NULL!"),
    PSI_TEXT(error, "esInfoDestroy: esInfo zlst_delete failed!"),
    PSI_TEXT(info, "esInfoDestroy: free esInfo OK!"),
};
constexpr LogText esInfoCaFailed = PSI_TEXT(error, "esInfoDestroy: ERROR! caInfoDestroy failed!");
constexpr LogText esInfoDescFailed = PSI_TEXT(error, "esInfoDestroy: ERROR! descInfoDestroy failed!");

constexpr NodeTexts progInfoTexts = {
    PSI_TEXT(error, "progInfoCreat: ERROR! headProgInfo is NULL!"),
    PSI_TEXT(error, "progInfoCreat: buddy_malloc descInfo node failed"),
    PSI_TEXT(error, "progInfoCreat: progInfo zlst_push failed!"),
    PSI_TEXT(error, "progInfoDestroy: ERROR! headProgInfo is NULL!"),
    PSI_TEXT(error, "progInfoDestroy: ERROR! *headProgInfo is NULL!"),
    PSI_TEXT(error, "progInfoDestroy: ERROR! progInfo is NULL!"),
    PSI_TEXT(error, "progInfoDestroy: progInfo zlst_delete failed!"),
    PSI_TEXT(info, "progInfoDestroy: free progInfo OK!"),
};
constexpr LogText progInfoEsFailed = PSI_TEXT(error, "progInfoDestroy: esInfoDestroy failed!");
constexpr LogText progInfoCaFailed = PSI_TEXT(error, "progInfoDestroy: prog caInfoDestroy failed!");
constexpr LogText progInfoPmtDescFailed = PSI_TEXT(error, "progInfoDestroy: pmt descInfoDestroy failed!");
constexpr LogText progInfoSdtDescFailed = PSI_TEXT(error, "progInfoDestroy: sdt descInfoDestroy failed!");

/** @brief Bind a flag to a destroyer, for emptyList(). */
template <class Node> auto withFlag(i32 (*destroy)(Node **, Node *, u32), u32 freeData)
{
    return [=](Node **head, Node *node) { return destroy(head, node, freeData); };
}

/** @brief The flag of a destroyer: only its low 8 bits count. */
bool flagSet(u32 freeData)
{
    return (freeData & 0xFF) != 0;
}

} // namespace

descInfo *descInfoCreat(descInfo **headDescInfo)
{
    return nodeCreat(headDescInfo, descInfoTexts);
}

i32 descInfoDestroy(descInfo **headDescInfo, descInfo *node, u32 freeData)
{
    return nodeDestroy(headDescInfo, node, descInfoTexts, [=](struct descInfo &owner) {
        freeBytes(owner.descData, flagSet(freeData));
        return 0;
    });
}

caInfo *caInfoCreat(caInfo **headCaInfo)
{
    return nodeCreat(headCaInfo, caInfoTexts);
}

i32 caInfoDestroy(caInfo **headCaInfo, caInfo *node, u32 freeData)
{
    return nodeDestroy(headCaInfo, node, caInfoTexts, [=](struct caInfo &owner) {
        freeBytes(owner.privateData, flagSet(freeData));
        return 0;
    });
}

esInfo *esInfoCreat(esInfo **headEsInfo)
{
    return nodeCreat(headEsInfo, esInfoTexts);
}

i32 esInfoDestroy(esInfo **headEsInfo, esInfo *node, u32 freeData)
{
    return nodeDestroy(headEsInfo, node, esInfoTexts, [=](struct esInfo &owner) {
        if (emptyList(&owner.caList, withFlag(caInfoDestroy, freeData), esInfoCaFailed) == -1)
            return -1;
        return emptyList(&owner.descList, withFlag(descInfoDestroy, freeData), esInfoDescFailed);
    });
}

progInfo *progInfoCreat(progInfo **headProgInfo)
{
    return nodeCreat(headProgInfo, progInfoTexts);
}

i32 progInfoDestroy(progInfo **headProgInfo, progInfo *node, u32 freeData)
{
    return nodeDestroy(headProgInfo, node, progInfoTexts, [=](struct progInfo &owner) {
        if (emptyList(&owner.esList, withFlag(esInfoDestroy, freeData), progInfoEsFailed) == -1 ||
            emptyList(&owner.caList, withFlag(caInfoDestroy, freeData), progInfoCaFailed) == -1 ||
            emptyList(&owner.pmtDescList, withFlag(descInfoDestroy, freeData), progInfoPmtDescFailed) == -1 ||
            emptyList(&owner.sdtDescList, withFlag(descInfoDestroy, freeData), progInfoSdtDescFailed) == -1)
            return -1;
        freeBytes(owner.pname, flagSet(freeData));
        freeBytes(owner.sname, flagSet(freeData));
        return 0;
    });
}

namespace {

bool leadsInto(const u8 *data, const sectionData &section)
{
    return reinterpret_cast<uintptr_t>(data) - reinterpret_cast<uintptr_t>(section.buf) < uintptr_t{section.len};
}

/** @brief Makes null, with length 0, every byte run of a model for which `lost(data)` holds. */
template <class Lost> class Forgetter {
public:
    explicit Forgetter(Lost lost) : lost_(lost) {}

    void forgetModel(tsInfo &model) const
    {
        forget(model.netname, model.netnameLen);
        forgetList(model.catDescList);
        forgetList(model.vctDescList);
        forgetList(model.catCaList);
        for (progInfo *prog = model.progList; prog; prog = nextOf(prog))
            forgetProgram(*prog);
    }

private:
    void forget(u8 *&data, u8 &len) const
    {
        if (!data || !lost_(data))
            return;
        data = nullptr;
        len = 0;
    }
    void forgetList(descInfo *list) const
    {
        for (; list; list = nextOf(list))
            forget(list->descData, list->descLen);
    }
    void forgetList(caInfo *list) const
    {
        for (; list; list = nextOf(list))
            forget(list->privateData, list->privateLen);
    }
    void forgetProgram(progInfo &prog) const
    {
        forget(prog.pname, prog.pnameLen);
        forget(prog.sname, prog.snameLen);
        forgetList(prog.caList);
        forgetList(prog.pmtDescList);
        forgetList(prog.sdtDescList);
        for (esInfo *es = prog.esList; es; es = nextOf(es)) {
            forgetList(es->descList);
            forgetList(es->caList);
        }
    }

    Lost lost_;
};

/** @brief The same for the byte runs that lead into no section of the model's list any more. */
void forgetLostBytes(tsInfo &model)
{
    const auto lost = [&](const u8 *data) {
        for (const sectionData *section = model.sectionList; section; section = nextOf(section))
            if (leadsInto(data, *section))
                return false;
        return true;
    };
    Forgetter(lost).forgetModel(model);
}

} // namespace

void psi::core::forgetSectionBytes(tsInfo *model, const sectionData *section)
{
    Forgetter([=](const u8 *data) { return leadsInto(data, *section); }).forgetModel(*model);
}

/* ------------------------------------------------------------------------------------------------------------------
 * Search objects
 * ---------------------------------------------------------------------------------------------------------------- */

psiObjId psiSchCreate(const psiSchRegisterInfo *registerInfo)
{
    if (!registerInfo) {
        PSI_ERROR("psiSchCreate failed: registerInfo is NULL!");
        return 0;
    }
    if (!registerInfo->psiSearchHandle) {
        PSI_ERROR("psiSchCreat failed: registerInfo->psiSearchHandle is NULL!");
        return 0;
    }
    if (!registerInfo->readPsiHandle) {
        PSI_ERROR("psiSchCreat failed: registerInfo->readPsiHandle is NULL!");
        return 0;
    }
    tableObj *obj = allocateZeroed<tableObj>();
    if (!obj) {
        PSI_ERROR("psiSchCreat: malloc TableOj failed!");
        return 0;
    }
    if (zlst_push(&headTableObj, obj) != 0) {
        PSI_ERROR("psiSchCreat: newTableObj zlst_push failed!");
        psi_buddy_free(obj);
        return 0;
    }
    obj->psiSearchHandle = registerInfo->psiSearchHandle;
    obj->readPsiHandle = registerInfo->readPsiHandle;
    obj->privateValue = registerInfo->privateValue;
    obj->semId = osMutexCreate(MutexUse::object);
    obj->objId = reinterpret_cast<psiObjId>(obj);
    for (u32 type = 0; type < sizeof(obj->timeOutMs) / sizeof(obj->timeOutMs[0]); ++type)
        obj->timeOutMs[type] = tableFacts(type).defaultTimeOutMs;
    PSI_INFO("psiSchCreat: OK! objId = 0x%lx", static_cast<unsigned long>(obj->objId));
    return obj->objId;
}

i32 psiSchDestroy(psiObjId objId)
{
    tableObj *obj = getTableObj(objId);
    const unsigned long id = static_cast<unsigned long>(objId);
    if (!obj) {
        PSI_ERROR("psiSchDestroy: ERROR! objId is %lu, tableOj is not exist!", id);
        return -1;
    }
    if (clearTableInfo(objId) == -1) {
        PSI_ERROR("psiSchDestroy: ERROR! objId is %lu, clearTableInfo failed!", id);
        return -1;
    }
    if (zlst_delete(&headTableObj, obj) == 0) {
        PSI_ERROR("psiSchDestroy: ERROR! objId is %lu, tableOj zlst_delete failed!", id);
        return -1;
    }
    osMutexDelete(obj->semId);
    zeroAndFree(obj);
    PSI_INFO("psiSchDestroy: free tableObj OK, id = %lu ! ", id);
    return 0;
}

namespace {

/** @brief What a clear operation says when a list cannot be emptied. */
struct ClearTexts {
    LogText prog, catCa, catDesc, vctDesc;
};

constexpr ClearTexts clearTableInfoTexts = {
    PSI_TEXT(error, "clearTableInfo: progInfoDestroy failed!"),
    PSI_TEXT(error, "clearTableInfo: cat caInfoDestroy failed!"),
    PSI_TEXT(error, "clearTableInfo: cat descInfoDestroy failed!"),
    PSI_TEXT(error, "clearTableInfo: vct descInfoDestroy failed!"),
};
constexpr LogText clearTableInfoSections = PSI_TEXT(error, "clearTableInfo: sectionDataDestroy failed!");

constexpr ClearTexts clearTsInfoTexts = {
    PSI_TEXT(error, "clearTsInfo: progInfoDestroy failed!"),
    PSI_TEXT(error, "clearTsInfo: cat caInfoDestroy failed!"),
    PSI_TEXT(error, "clearTsInfo: cat descInfoDestroy failed!"),
    PSI_TEXT(error, "clearTsInfo: vct descInfoDestroy failed!"),
};

/** @brief A table type that clearTsInfo() forgets. */
struct ForgottenType {
    u32 psiType;
    LogText failure;
};

constexpr ForgottenType forgottenTypes[] = {
    {PSI_PAT, PSI_TEXT(error, "clearTsInfo: pat destroy section failed!")},
    {PSI_PMT, PSI_TEXT(error, "clearTsInfo: pmt destroy section failed!")},
    {PSI_SDT_ACTUAL, PSI_TEXT(error, "clearTsInfo: sdta destroy section failed!")},
    {PSI_CAT, PSI_TEXT(error, "clearTsInfo: cat destroy section failed!")},
    {PSI_VCT, PSI_TEXT(error, "clearTsInfo: vct destroy section failed!")},
};

constexpr u32 forgottenMask()
{
    u32 mask = 0;
    for (const ForgottenType &type : forgottenTypes)
        mask |= 1U << type.psiType;
    return mask;
}
static_assert(forgottenMask() == 0x487, "PAT, PMT, SDT actual, CAT and VCT");

/** @brief Empty the lists of the model but the section list. Payloads belong to the sections. */
i32 emptyModelLists(tsInfo &model, const ClearTexts &texts)
{
    if (emptyList(&model.progList, withFlag(progInfoDestroy, 0), texts.prog) == -1 ||
        emptyList(&model.catCaList, withFlag(caInfoDestroy, 0), texts.catCa) == -1 ||
        emptyList(&model.catDescList, withFlag(descInfoDestroy, 0), texts.catDesc) == -1 ||
        emptyList(&model.vctDescList, withFlag(descInfoDestroy, 0), texts.vctDesc) == -1)
        return -1;
    return 0;
}

/** @brief Zero all fields in front of the section list, but keep these bits of `tableMask`. */
void zeroModel(tsInfo &model, u32 keptBits)
{
    sectionData *sections = model.sectionList;
    const u32 mask = model.tableMask & keptBits;
    memset(&model, 0, sizeof(model));
    model.sectionList = sections;
    model.tableMask = mask;
}

i32 clearLocked(tableObj &obj)
{
    const MutexGuard guard(obj.semId);
    tsInfo &model = obj.tsInfo;
    if (emptyList(&model.sectionList, sectionDataDestroy, clearTableInfoSections) == -1 ||
        emptyModelLists(model, clearTableInfoTexts) == -1) {
        forgetLostBytes(model);
        return -1;
    }
    zeroModel(model, 0);
    return 0;
}

i32 destroyForgottenSections(tsInfo &model)
{
    for (const ForgottenType &type : forgottenTypes)
        if (singleTypeSectionDataDestroy(&model.sectionList, type.psiType) == -1) {
            schLog(type.failure);
            return -1;
        }
    return 0;
}

} // namespace

i32 clearTableInfo(psiObjId objId)
{
    tableObj *obj = getTableObj(objId);
    if (!obj) {
        PSI_ERROR("clearTableInfo: get tableObj failed, objId = %lu!", static_cast<unsigned long>(objId));
        return -1;
    }
    if (clearLocked(*obj) == -1)
        return -1;
    PSI_INFO("clearTableInfo: OK! objId = %lu!", static_cast<unsigned long>(objId));
    return 0;
}

i32 clearTsInfo(psiObjId objId)
{
    tableObj *obj = getTableObj(objId);
    if (!obj) {
        PSI_ERROR("clearTsInfo: get tableObj failed, objId = %lu!", static_cast<unsigned long>(objId));
        return -1;
    }
    tsInfo &model = obj->tsInfo;
    if (destroyForgottenSections(model) == -1 || emptyModelLists(model, clearTsInfoTexts) == -1) {
        forgetLostBytes(model);
        return -1;
    }
    zeroModel(model, ~forgottenMask());
    PSI_INFO("clearTableInfo: OK! objId = %lu!", static_cast<unsigned long>(objId));
    return 0;
}

/* ------------------------------------------------------------------------------------------------------------------
 * Nodes of the PSI and SI syntax trees
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

constexpr NodeTexts psiPatProgTexts = {
    PSI_TEXT(error, "psiPatProgCreat: ERROR! headProgInfo is NULL!"),
    PSI_TEXT(error, "psiPatProgCreat: buddy_malloc prog node failed"),
    PSI_TEXT(error, "psiPatProgCreat: progInfo zlst_push failed!"),
    PSI_TEXT(error, "psiPatProgDestroy: ERROR! headProgInfo is NULL!"),
    PSI_TEXT(error, "psiPatProgDestroy: ERROR! *headProgInfo is NULL!"),
    PSI_TEXT(error, "psiPatProgDestroy: ERROR! progInfo is NULL!"),
    PSI_TEXT(error, "psiPatProgDestroy: progInfo zlst_delete failed!"),
    PSI_TEXT(info, "psiPatProgDestroy: free progInfo OK!"),
};

constexpr NodeTexts psiPmtEsTexts = {
    PSI_TEXT(error, "psiPmtEsCreat: ERROR! headEsInfo is NULL!"),
    PSI_TEXT(error, "psiPmtEsCreat: buddy_malloc pid node failed"),
    PSI_TEXT(error, "psiPmtEsCreat: esInfo zlst_push failed!"),
    PSI_TEXT(error, "psiPmtEsDestroy: ERROR! headEsInfo is NULL!"),
    PSI_TEXT(error, "psiPmtEsDestroy: ERROR! *headEsInfo is NULL!"),
    PSI_TEXT(error, "psiPmtEsDestroy: ERROR! esInfo is NULL!"),
    PSI_TEXT(error, "psiPmtEsDestroy: esInfo zlst_delete failed!"),
    PSI_TEXT(info, "psiPmtEsDestroy: free esInfo OK!"),
};
constexpr LogText psiPmtEsDescFailed = PSI_TEXT(error, "psiPmtEsDestroy: descInfoDestroy failed!");

constexpr NodeTexts psiSdtServiceTexts = {
    PSI_TEXT(error, "psiSdtServiceCreat: ERROR! headServiceInfo is NULL!"),
    PSI_TEXT(error, "psiSdtServiceCreat: buddy_malloc service node failed"),
    PSI_TEXT(error, "psiSdtServiceCreat: serviceInfo zlst_push failed!"),
    PSI_TEXT(error, "psiSdtServiceDestroy: ERROR! headServiceInfo is NULL!"),
    PSI_TEXT(error, "psiSdtServiceDestroy: ERROR! *headServiceInfo is NULL!"),
    PSI_TEXT(error, "psiSdtServiceDestroy: ERROR! serviceInfo is NULL!"),
    PSI_TEXT(error, "psiSdtServiceDestroy: serviceInfo zlst_delete failed!"),
    PSI_TEXT(info, "psiSdtServiceDestroy: free serviceInfo OK!"),
};
constexpr LogText psiSdtServiceDescFailed = PSI_TEXT(error, "psiSdtServiceDestroy: descInfoDestroy failed!");

constexpr NodeTexts psiStreamInfoTexts = {
    PSI_TEXT(warning, "psiStreamInfoCreat: ERROR! headStreamInfo is NULL!"),
    PSI_TEXT(error, "psiStreamInfoCreat: buddy_malloc stream node failed"),
    PSI_TEXT(error, "psiStreamInfoCreat: streamInfo zlst_push failed!"),
    PSI_TEXT(warning, "psiStreamInfoDestroy: ERROR! headStreamInfo is NULL!"),
    PSI_TEXT(warning, "psiStreamInfoDestroy: ERROR! *headStreamInfo is NULL!"),
    PSI_TEXT(warning, "psiStreamInfoDestroy: ERROR! streamInfo is NULL!"),
    PSI_TEXT(error, "psiStreamInfoDestroy: streamInfo zlst_delete failed!"),
    PSI_TEXT(info, "psiStreamInfoDestroy: free streamInfo OK!"),
};
constexpr LogText psiStreamInfoDescFailed = PSI_TEXT(error, "psiStreamInfoDestroy: descInfoDestroy failed!");

constexpr NodeTexts mgtTableInfoTexts = {
    PSI_TEXT(warning, "mgtTableInfoCreat: ERROR! headTableInfo is NULL!"),
    PSI_TEXT(error, "mgtTableInfoCreat: buddy_malloc stream node failed"),
    PSI_TEXT(error, "mgtTableInfoCreat: mgtTableInfo zlst_push failed!"),
    PSI_TEXT(warning, "mgtTableInfoDestroy: ERROR! headTableInfo is NULL!"),
    PSI_TEXT(warning, "mgtTableInfoDestroy: ERROR! *headTableInfo is NULL!"),
    PSI_TEXT(warning, "mgtTableInfoDestroy: ERROR! mgtTableInfo is NULL!"),
    PSI_TEXT(error, "mgtTableInfoDestroy: mgtTableInfo zlst_delete failed!"),
    PSI_TEXT(info, "mgtTableInfoDestroy: free mgtTableInfo OK!"),
};
constexpr LogText mgtTableInfoDescFailed = PSI_TEXT(error, "mgtTableInfoDestroy: descInfoDestroy failed!");

/** @brief Empty a descriptor list of a syntax tree, which owns its payloads. */
i32 emptyDescriptors(descInfo **head, const LogText &failure)
{
    return emptyList(head, withFlag(descInfoDestroy, 1), failure);
}

} // namespace

psiPatProg *psiPatProgCreat(psiPatProg **headProgInfo)
{
    return nodeCreat(headProgInfo, psiPatProgTexts);
}

i32 psiPatProgDestroy(psiPatProg **headProgInfo, psiPatProg *node)
{
    return nodeDestroy(headProgInfo, node, psiPatProgTexts, [](psiPatProg &) { return 0; });
}

psiPmtEs *psiPmtEsCreat(psiPmtEs **headEsInfo)
{
    return nodeCreat(headEsInfo, psiPmtEsTexts);
}

i32 psiPmtEsDestroy(psiPmtEs **headEsInfo, psiPmtEs *node)
{
    return nodeDestroy(headEsInfo, node, psiPmtEsTexts,
                       [](psiPmtEs &owner) { return emptyDescriptors(&owner.es_descriptor, psiPmtEsDescFailed); });
}

psiSdtService *psiSdtServiceCreat(psiSdtService **headServiceInfo)
{
    return nodeCreat(headServiceInfo, psiSdtServiceTexts);
}

i32 psiSdtServiceDestroy(psiSdtService **headServiceInfo, psiSdtService *serviceInfo)
{
    return nodeDestroy(headServiceInfo, serviceInfo, psiSdtServiceTexts, [](psiSdtService &owner) {
        return emptyDescriptors(&owner.service_descriptor, psiSdtServiceDescFailed);
    });
}

psiStreamInfo *psiStreamInfoCreat(psiStreamInfo **headStreamInfo)
{
    return nodeCreat(headStreamInfo, psiStreamInfoTexts);
}

i32 psiStreamInfoDestroy(psiStreamInfo **headStreamInfo, psiStreamInfo *streamInfo)
{
    return nodeDestroy(headStreamInfo, streamInfo, psiStreamInfoTexts, [](psiStreamInfo &owner) {
        return emptyDescriptors(&owner.descriptor, psiStreamInfoDescFailed);
    });
}

mgtTableInfo *mgtTableInfoCreat(mgtTableInfo **headTableInfo)
{
    return nodeCreat(headTableInfo, mgtTableInfoTexts);
}

i32 mgtTableInfoDestroy(mgtTableInfo **headTableInfo, mgtTableInfo *node)
{
    return nodeDestroy(headTableInfo, node, mgtTableInfoTexts, [](struct mgtTableInfo &owner) {
        return emptyDescriptors(&owner.table_desc_info, mgtTableInfoDescFailed);
    });
}

/* ------------------------------------------------------------------------------------------------------------------
 * Records of the PSI and SI syntax trees
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

template <class Record> Record *recordCreat(const LogText &noMemory)
{
    Record *record = allocateZeroed<Record>();
    if (!record)
        schLog(noMemory);
    return record;
}

struct RecordTexts {
    LogText isNull, destroyed;
};

/** @brief Destroy a record; `release` empties it and returns 0, or -1: then it is not freed. */
template <class Record, class Release> i32 recordDestroy(Record *record, const RecordTexts &texts, Release release)
{
    if (!record) {
        schLog(texts.isNull);
        return -1;
    }
    if (release(*record) == -1)
        return -1;
    psi_buddy_free(record);
    schLog(texts.destroyed);
    return 0;
}

constexpr LogText patNoMemory = PSI_TEXT(error, "psiPatSectionCreat: buddy_malloc patSection  failed");
constexpr RecordTexts patTexts = {PSI_TEXT(error, "psiPatSectionDestroy: ERROR! patSection is NULL!"),
                                  PSI_TEXT(info, "psiPatSectionDestroy: free patSection OK!")};
constexpr LogText patProgFailed = PSI_TEXT(error, "psiPatSectionDestroy: progInfo failed!");

constexpr LogText pmtNoMemory = PSI_TEXT(error, "psiPmtSectionCreat: buddy_malloc pmtSection  failed");
constexpr RecordTexts pmtTexts = {PSI_TEXT(error, "psiPmtSectionDestroy: ERROR! pmtSection is NULL!"),
                                  PSI_TEXT(info, "psiPmtSectionDestroy: free pmtSection OK!")};
constexpr LogText pmtDescFailed = PSI_TEXT(error, "psiPmtSectionDestroy: prog_descriptor descInfoDestroy failed!");
constexpr LogText pmtEsFailed = PSI_TEXT(error, "psiPmtSectionDestroy: esInfo psiPmtEsDestroy failed!");

constexpr LogText catNoMemory = PSI_TEXT(error, "psiCatSectionCreat: buddy_malloc catSection  failed");
constexpr RecordTexts catTexts = {PSI_TEXT(error, "psiCatSectionDestroy: ERROR! catSection is NULL!"),
                                  PSI_TEXT(info, "psiCatSectionDestroy: free catSection OK!")};
constexpr LogText catDescFailed = PSI_TEXT(error, "psiCatSectionDestroy: cat descInfoDestroy failed!");

constexpr LogText nitNoMemory = PSI_TEXT(error, "psiNitSectionCreat: buddy_malloc nitSection  failed");
constexpr RecordTexts nitTexts = {PSI_TEXT(error, "psiNitSectionDestroy: ERROR! nitSection is NULL!"),
                                  PSI_TEXT(info, "psiNitSectionDestroy: free nitSection OK!")};
constexpr LogText nitDescFailed = PSI_TEXT(error, "psiNitSectionDestroy: nit descInfoDestroy failed!");
constexpr LogText nitStreamFailed = PSI_TEXT(error, "psiNitSectionDestroy: nit psiStreamInfoDestroy failed!");

constexpr LogText sdtNoMemory = PSI_TEXT(error, "psiSdtSectionCreat: buddy_malloc sdtSection  failed");
constexpr RecordTexts sdtTexts = {PSI_TEXT(error, "psiSdtSectionDestroy: ERROR! sdtSection is NULL!"),
                                  PSI_TEXT(info, "psiSdtSectionDestroy: free sdtSection OK!")};
constexpr LogText sdtServiceFailed = PSI_TEXT(error, "psiSdtSectionDestroy: sdt psiSdtServiceDestroy failed!");

constexpr LogText batNoMemory = PSI_TEXT(error, "psiBatSectionCreat: buddy_malloc batSection  failed");
constexpr RecordTexts batTexts = {PSI_TEXT(error, "psiBatSectionDestroy: ERROR! batSection is NULL!"),
                                  PSI_TEXT(info, "psiBatSectionDestroy: free batSection OK!")};
constexpr LogText batDescFailed = PSI_TEXT(error, "psiBatSectionDestroy: bat descInfoDestroy failed!");
constexpr LogText batStreamFailed = PSI_TEXT(error, "psiSdtSectionDestroy: bat psiStreamInfoDestroy failed!");

constexpr LogText mgtNoMemory = PSI_TEXT(error, "psipMgtSectionCreat: buddy_malloc mgtSection  failed");
constexpr RecordTexts mgtTexts = {PSI_TEXT(error, "psiMgtSectionDestroy: ERROR! mgtSection is NULL!"),
                                  PSI_TEXT(info, "psiMgtSectionDestroy: free mgtSection OK!")};
constexpr LogText mgtDescFailed = PSI_TEXT(error, "psiMgtSectionDestroy: mgt descInfoDestroy failed!");
constexpr LogText mgtTableFailed = PSI_TEXT(error, "psiMgtSectionDestroy: bat mgtTableInfoDestroy failed!");

} // namespace

patSection *psiPatSectionCreat(void)
{
    return recordCreat<patSection>(patNoMemory);
}

i32 psiPatSectionDestroy(patSection *pat)
{
    return recordDestroy(pat, patTexts, [](struct patSection &owner) {
        return emptyList(&owner.prog_info, psiPatProgDestroy, patProgFailed);
    });
}

pmtSection *psiPmtSectionCreat(void)
{
    return recordCreat<pmtSection>(pmtNoMemory);
}

i32 psiPmtSectionDestroy(pmtSection *pmt)
{
    return recordDestroy(pmt, pmtTexts, [](struct pmtSection &owner) {
        if (emptyDescriptors(&owner.prog_descriptor, pmtDescFailed) == -1)
            return -1;
        return emptyList(&owner.es_info, psiPmtEsDestroy, pmtEsFailed);
    });
}

catSection *psiCatSectionCreat(void)
{
    return recordCreat<catSection>(catNoMemory);
}

i32 psiCatSectionDestroy(catSection *cat)
{
    return recordDestroy(
        cat, catTexts, [](struct catSection &owner) { return emptyDescriptors(&owner.cat_descriptor, catDescFailed); });
}

nitSection *psiNitSectionCreat(void)
{
    return recordCreat<nitSection>(nitNoMemory);
}

i32 psiNitSectionDestroy(nitSection *nit)
{
    return recordDestroy(nit, nitTexts, [](struct nitSection &owner) {
        if (emptyDescriptors(&owner.net_descriptor, nitDescFailed) == -1)
            return -1;
        return emptyList(&owner.stream_info, psiStreamInfoDestroy, nitStreamFailed);
    });
}

sdtSection *psiSdtSectionCreat(void)
{
    return recordCreat<sdtSection>(sdtNoMemory);
}

i32 psiSdtSectionDestroy(sdtSection *sdt)
{
    return recordDestroy(sdt, sdtTexts, [](struct sdtSection &owner) {
        return emptyList(&owner.service_info, psiSdtServiceDestroy, sdtServiceFailed);
    });
}

batSection *psiBatSectionCreat(void)
{
    return recordCreat<batSection>(batNoMemory);
}

i32 psiBatSectionDestroy(batSection *bat)
{
    return recordDestroy(bat, batTexts, [](struct batSection &owner) {
        if (emptyDescriptors(&owner.bouquet_descriptor, batDescFailed) == -1)
            return -1;
        return emptyList(&owner.stream_info, psiStreamInfoDestroy, batStreamFailed);
    });
}

mgtSection *psipMgtSectionCreat(void)
{
    return recordCreat<mgtSection>(mgtNoMemory);
}

i32 psipMgtSectionDestroy(mgtSection *mgt)
{
    return recordDestroy(mgt, mgtTexts, [](struct mgtSection &owner) {
        if (emptyDescriptors(&owner.mgt_desc_info, mgtDescFailed) == -1)
            return -1;
        return emptyList(&owner.table_info, mgtTableInfoDestroy, mgtTableFailed);
    });
}

/* ------------------------------------------------------------------------------------------------------------------
 * Nodes and records of the emergency tables
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

constexpr NodeTexts ebitStreamTexts = {
    PSI_TEXT(error, "ebitStreamCreat: ERROR! streamHead is NULL"),
    PSI_TEXT(error, "ebitStreamCreat: buddy_malloc stream node failed"),
    PSI_TEXT(error, "ebitStreamCreat: stream zlst_push failed!"),
    PSI_TEXT(error, "ebitStreamDestroy: ERROR! streamHead is NULL"),
    PSI_TEXT(error, "ebitStreamDestroy: ERROR! *streamHead is NULL"),
    PSI_TEXT(error, "ebitStreamDestroy: ERROR! stream is NULL"),
    PSI_TEXT(error, "ebitStreamDestroy: stream zlst_delete failed!"),
    PSI_TEXT(info, "ebitStreamDestroy: free stream OK!"),
};
constexpr LogText ebitStreamDescFailed = PSI_TEXT(error, "ebitStreamDestroy: descInfoDestroy failed!");

constexpr LogText channelNoMemory = PSI_TEXT(error, "ebitDetailsChannelCreat: buddy_malloc channel node failed");
constexpr RecordTexts channelTexts = {PSI_TEXT(error, "ebitDetailsChannlDestroy: ERROR! channel is NULL"),
                                      PSI_TEXT(info, "ebitDetailsChannlDestroy: free channel OK!")};
constexpr LogText channelDescFailed = PSI_TEXT(error, "ebitDetailsChannlDestroy: channel descInfoDestroy failed");
constexpr LogText channelStreamFailed = PSI_TEXT(error, "ebitDetailsChannlDestroy: channel ebitStreamDestroy failed");

constexpr NodeTexts ebitResourceTexts = {
    PSI_TEXT(error, "ebitResourceCreat: ERROR! resourceHead is NULL"),
    PSI_TEXT(error, "ebitResourceCreat: buddy_malloc resource node failed"),
    PSI_TEXT(error, "ebitResourceCreat: resource zlst_push failed!"),
    PSI_TEXT(error, "ebitResourceDestroy: ERROR! resourceHead is NULL"),
    PSI_TEXT(error, "ebitResourceDestroy: ERROR! *resourceHead is NULL"),
    PSI_TEXT(error, "ebitResourceDestroy: ERROR! resource is NULL"),
    PSI_TEXT(error, "ebitResourceDestroy: ebm zlst_delete failed!"),
    PSI_TEXT(info, "ebitResourceDestroy: free resource OK!"),
};

constexpr NodeTexts ebitMessageTexts = {
    PSI_TEXT(error, "ebitMessageCreat: ERROR! ebmHead is NULL"),
    PSI_TEXT(error, "ebitMessageCreat: buddy_malloc ebm node failed"),
    PSI_TEXT(error, "ebitMessageCreat: ebm zlst_push failed!"),
    PSI_TEXT(error, "ebitMessgeDestroy: ERROR! ebmHead is NULL"),
    PSI_TEXT(error, "ebitMessgeDestroy: ERROR! *ebmHead is NULL"),
    PSI_TEXT(error, "ebitMessgeDestroy: ERROR! ebm is NULL"),
    PSI_TEXT(error, "ebitMessgeDestroy: ebm zlst_delete failed!"),
    PSI_TEXT(info, "ebitMessgeDestroy: free ebm OK!"),
};
constexpr LogText ebitMessageResourceFailed = PSI_TEXT(error, "ebitMessgeDestroy: ebm ebitResourceDestroy failed!");

constexpr NodeTexts ebctAuxiliaryDataTexts = {
    PSI_TEXT(error, "ebctAuxiliaryDataCreat: ERROR! dataHead is NULL"),
    PSI_TEXT(error, "ebctAuxiliaryDataCreat: buddy_malloc data node failed"),
    PSI_TEXT(error, "ebctAuxiliaryDataCreat: data zlst_push failed!"),
    PSI_TEXT(error, "ebctAuxiliaryDataDestroy: ERROR! dataHead is NULL"),
    PSI_TEXT(error, "ebctAuxiliaryDataDestroy: ERROR! *dataHead is NULL"),
    PSI_TEXT(error, "ebctAuxiliaryDataDestroy: ERROR! data is NULL"),
    PSI_TEXT(error, "ebctAuxiliaryDataDestroy: data zlst_delete failed!"),
    PSI_TEXT(info, "ebctAuxiliaryDataDestroy: free data OK!"),
};

constexpr NodeTexts ebctContentTexts = {
    PSI_TEXT(error, "ebctContentCreat: ERROR! contentHead is NULL"),
    PSI_TEXT(error, "ebctContentCreat: buddy_malloc content node failed"),
    PSI_TEXT(error, "ebctContentCreat: content zlst_push failed!"),
    PSI_TEXT(error, "ebctContentDestroy: ERROR! contentHead is NULL"),
    PSI_TEXT(error, "ebctContentDestroy: ERROR! *contentHead is NULL"),
    PSI_TEXT(error, "ebctContentDestroy: ERROR! content is NULL"),
    PSI_TEXT(error, "ebctContentDestroy: content zlst_delete failed!"),
    PSI_TEXT(info, "ebctContentDestroy: free content OK!"),
};
constexpr LogText ebctContentDataFailed =
    PSI_TEXT(error, "ebctContentDestroy: content ebctAuxiliaryDataDestroy failed!");

constexpr NodeTexts ebcatCalistTexts = {
    PSI_TEXT(error, "ebcatCalistCreat: ERROR! caListHead is NULL"),
    PSI_TEXT(error, "ebcatCalistCreat: buddy_malloc caList node failed"),
    PSI_TEXT(error, "ebcatCalistCreat: caList zlst_push failed!"),
    PSI_TEXT(error, "ebcatCalistDestroy: ERROR! caListHead is NULL"),
    PSI_TEXT(error, "ebcatCalistDestroy: ERROR! *caListHead is NULL"),
    PSI_TEXT(error, "ebcatCalistDestroy: ERROR! caList is NULL"),
    PSI_TEXT(error, "ebcatCalistDestroy: caList zlst_delete failed!"),
    PSI_TEXT(info, "ebcatCalistDestroy: free caList OK!"),
};

constexpr NodeTexts ebcatCtTexts = {
    PSI_TEXT(error, "ebcatCtCreat: ERROR! ctHead is NULL"),
    PSI_TEXT(error, "ebcatCtCreat: buddy_malloc ct node failed"),
    PSI_TEXT(error, "ebcatCtCreat: ct zlst_push failed!"),
    PSI_TEXT(error, "ebcatCtDestroy: ERROR! ctHead is NULL"),
    PSI_TEXT(error, "ebcatCtDestroy: ERROR! *ctHead is NULL"),
    PSI_TEXT(error, "ebcatCtDestroy: ERROR! ct is NULL"),
    PSI_TEXT(error, "ebcatCtDestroy: ct zlst_delete failed!"),
    PSI_TEXT(info, "ebcatCtDestroy: free ct OK!"),
};

constexpr NodeTexts ebcctCmdTexts = {
    PSI_TEXT(error, "ebcctCmdCreat: ERROR! cmdHead is NULL"),
    PSI_TEXT(error, "ebcctCmdCreat: buddy_malloc cmd node failed"),
    PSI_TEXT(error, "ebcctCmdCreat: cmd zlst_push failed!"),
    PSI_TEXT(error, "ebcctCmdDestroy: ERROR! cmdHead is NULL"),
    PSI_TEXT(error, "ebcctCmdDestroy: ERROR! *cmdHead is NULL"),
    PSI_TEXT(error, "ebcctCmdDestroy: ERROR! cmd is NULL"),
    PSI_TEXT(error, "ebcctCmdDestroy: cmd zlst_delete failed!"),
    PSI_TEXT(info, "ebcctCmdDestroy: free cmd OK!"),
};

constexpr LogText ebitNoMemory = PSI_TEXT(error, "psiEbitSectionCreat: buddy_malloc ebitSection  failed");
constexpr RecordTexts ebitTexts = {PSI_TEXT(error, "psiEbitSectionDestroy: ERROR! ebitSection is NULL!"),
                                   PSI_TEXT(info, "psiEbitSectionDestroy: free ebitSection OK!")};
constexpr LogText ebitMessageFailed = PSI_TEXT(error, "psiEbitSectionDestroy: ebitSection ebitMessageDestroy failed");

constexpr LogText ebctNoMemory = PSI_TEXT(error, "psiEbctSectionCreat: buddy_malloc ebctSection  failed");
constexpr RecordTexts ebctTexts = {PSI_TEXT(error, "psiEbctSectionDestroy: ERROR! ebctSection is NULL!"),
                                   PSI_TEXT(info, "psiEbctSectionDestroy: free ebctSection OK!")};
constexpr LogText ebctContentFailed = PSI_TEXT(error, "psiEbctSectionDestroy: ebctSection ebctContentDestroy failed");

constexpr LogText ebcatNoMemory = PSI_TEXT(error, "psiEbcatSectionCreat: buddy_malloc ebcatSection  failed");
constexpr RecordTexts ebcatTexts = {PSI_TEXT(error, "psiEbcatSectionDestroy: ERROR! ebcatSection is NULL!"),
                                    PSI_TEXT(info, "psiEbcatSectionDestroy: free ebcatSection OK!")};
constexpr LogText ebcatCalistFailed = PSI_TEXT(error, "psiEbcatSectionDestroy: ebcatSection ebcatCalistDestroy failed");
constexpr LogText ebcatCtFailed = PSI_TEXT(error, "psiEbcatSectionDestroy: ebcatSection ebcatCtDestroy failed");

constexpr LogText ebcctNoMemory = PSI_TEXT(error, "psiEbcctSectionCreat: buddy_malloc ebcctSection  failed");
constexpr RecordTexts ebcctTexts = {PSI_TEXT(error, "psiEbcctSectionDestroy: ERROR! ebcctSection is NULL!"),
                                    PSI_TEXT(info, "psiEbcctSectionDestroy: free ebcctSection OK!")};
constexpr LogText ebcctCmdFailed = PSI_TEXT(error, "psiEbcctSectionDestroy: ebcctSection ebcctCmdDestroy failed");

/** @brief The last step of every emergency record: its signature goes, and the record is wiped. */
template <class Record> i32 dropSignature(Record &record)
{
    freeBytes(record.signature, true);
    memset(&record, 0, sizeof(record));
    return 0;
}

} // namespace

ebitStream *ebitStreamCreat(ebitStream **streamHead)
{
    return nodeCreat(streamHead, ebitStreamTexts);
}

i32 ebitStreamDestroy(ebitStream **streamHead, ebitStream *stream)
{
    return nodeDestroy(streamHead, stream, ebitStreamTexts,
                       [](ebitStream &owner) { return emptyDescriptors(&owner.descriptor, ebitStreamDescFailed); });
}

ebitDetailsChannel *ebitDetailsChannelCreat(void)
{
    return recordCreat<ebitDetailsChannel>(channelNoMemory);
}

i32 ebitDetailsChannlDestroy(ebitDetailsChannel *channel)
{
    return recordDestroy(channel, channelTexts, [](ebitDetailsChannel &owner) {
        if (emptyDescriptors(&owner.descriptor, channelDescFailed) == -1)
            return -1;
        return emptyList(&owner.stream, ebitStreamDestroy, channelStreamFailed);
    });
}

ebitResource *ebitResourceCreat(ebitResource **resourceHead)
{
    return nodeCreat(resourceHead, ebitResourceTexts);
}

i32 ebitResourceDestroy(ebitResource **resourceHead, ebitResource *resource)
{
    return nodeDestroy(resourceHead, resource, ebitResourceTexts, [](ebitResource &) { return 0; });
}

ebitMessage *ebitMessageCreat(ebitMessage **ebmHead)
{
    return nodeCreat(ebmHead, ebitMessageTexts);
}

i32 ebitMessageDestroy(ebitMessage **ebmHead, ebitMessage *ebm)
{
    return nodeDestroy(ebmHead, ebm, ebitMessageTexts, [](ebitMessage &owner) {
        if (emptyList(&owner.resource, ebitResourceDestroy, ebitMessageResourceFailed) == -1)
            return -1;
        if (owner.channel && ebitDetailsChannlDestroy(owner.channel) == -1) {
            PSI_ERROR("ebitMessageDestroy: ebm ebitDetailsChannlDestroy failed!");
            return -1;
        }
        return 0;
    });
}

ebctAuxiliaryData *ebctAuxiliaryDataCreat(ebctAuxiliaryData **dataHead)
{
    return nodeCreat(dataHead, ebctAuxiliaryDataTexts);
}

i32 ebctAuxiliaryDataDestroy(ebctAuxiliaryData **dataHead, ebctAuxiliaryData *data, u32 freeData)
{
    return nodeDestroy(dataHead, data, ebctAuxiliaryDataTexts, [=](ebctAuxiliaryData &owner) {
        freeBytes(owner.auxiliary_data, flagSet(freeData));
        return 0;
    });
}

ebctContent *ebctContentCreat(ebctContent **contentHead)
{
    return nodeCreat(contentHead, ebctContentTexts);
}

i32 ebctContentDestroy(ebctContent **contentHead, ebctContent *content)
{
    return nodeDestroy(contentHead, content, ebctContentTexts, [](ebctContent &owner) {
        freeBytes(owner.message_text, true);
        freeBytes(owner.agency_name, true);
        return emptyList(&owner.auxiliaryData, withFlag(ebctAuxiliaryDataDestroy, 1), ebctContentDataFailed);
    });
}

ebcatCalist *ebcatCalistCreat(ebcatCalist **caListHead)
{
    return nodeCreat(caListHead, ebcatCalistTexts);
}

i32 ebcatCalistDestroy(ebcatCalist **caListHead, ebcatCalist *caList, u32 freeData)
{
    return nodeDestroy(caListHead, caList, ebcatCalistTexts, [=](ebcatCalist &owner) {
        freeBytes(owner.ca_data, flagSet(freeData));
        return 0;
    });
}

ebcatCt *ebcatCtCreat(ebcatCt **ctHead)
{
    return nodeCreat(ctHead, ebcatCtTexts);
}

i32 ebcatCtDestroy(ebcatCt **ctHead, ebcatCt *ct, u32 freeData)
{
    return nodeDestroy(ctHead, ct, ebcatCtTexts, [=](ebcatCt &owner) {
        freeBytes(owner.ct_data, flagSet(freeData));
        return 0;
    });
}

ebcctCmd *ebcctCmdCreat(ebcctCmd **cmdHead)
{
    return nodeCreat(cmdHead, ebcctCmdTexts);
}

i32 ebcctCmdDestroy(ebcctCmd **cmdHead, ebcctCmd *cmd, u32 freeData)
{
    return nodeDestroy(cmdHead, cmd, ebcctCmdTexts, [=](ebcctCmd &owner) {
        freeBytes(owner.cmd_data, flagSet(freeData));
        return 0;
    });
}

ebitSection *psiEbitSectionCreat(void)
{
    return recordCreat<ebitSection>(ebitNoMemory);
}

i32 psiEbitSectionDestroy(ebitSection *ebit)
{
    return recordDestroy(ebit, ebitTexts, [](struct ebitSection &owner) {
        if (emptyList(&owner.message, ebitMessageDestroy, ebitMessageFailed) == -1)
            return -1;
        return dropSignature(owner);
    });
}

ebctSection *psiEbctSectionCreat(void)
{
    return recordCreat<ebctSection>(ebctNoMemory);
}

i32 psiEbctSectionDestroy(ebctSection *ebct)
{
    return recordDestroy(ebct, ebctTexts, [](struct ebctSection &owner) {
        if (emptyList(&owner.content, ebctContentDestroy, ebctContentFailed) == -1)
            return -1;
        return dropSignature(owner);
    });
}

ebcatSection *psiEbcatSectionCreat(void)
{
    return recordCreat<ebcatSection>(ebcatNoMemory);
}

i32 psiEbcatSectionDestroy(ebcatSection *ebcat)
{
    return recordDestroy(ebcat, ebcatTexts, [](struct ebcatSection &owner) {
        if (emptyList(&owner.calist, withFlag(ebcatCalistDestroy, 1), ebcatCalistFailed) == -1 ||
            emptyList(&owner.ct, withFlag(ebcatCtDestroy, 1), ebcatCtFailed) == -1)
            return -1;
        return dropSignature(owner);
    });
}

ebcctSection *psiEbcctSectionCreat(void)
{
    return recordCreat<ebcctSection>(ebcctNoMemory);
}

i32 psiEbcctSectionDestroy(ebcctSection *ebcct)
{
    return recordDestroy(ebcct, ebcctTexts, [](struct ebcctSection &owner) {
        if (emptyList(&owner.cmd, withFlag(ebcctCmdDestroy, 1), ebcctCmdFailed) == -1)
            return -1;
        return dropSignature(owner);
    });
}
