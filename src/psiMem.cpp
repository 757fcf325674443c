#include "psiInternal.h"
#include "psiTables.h"

using namespace psi::core;

tableObj *headTableObj = nullptr;

/* ------------------------------------------------------------------------------------------------------------------
 * Section lists
 * ---------------------------------------------------------------------------------------------------------------- */

constexpr Owned sectionDataOwned[] = {
    ownedBytes(offsetof(sectionData, buf)),
};
constexpr NodeTypeOf<sectionData> psi::core::sectionDataType = {{
    owningType<sectionData>(sectionDataOwned),
    {
        PSI_TEXT(error, "sectionDataCreat: ERROR! headSectionData is NULL!"),
        PSI_TEXT(error, "sectionDataCreat: buddy_malloc sectionData node failed"),
        PSI_TEXT(error, "sectionDataCreat: sectionData zlst_push failed!"),
        PSI_TEXT(error, "sectionDataDestroy: ERROR! headSectionData is NULL!"),
        PSI_TEXT(error, "sectionDataDestroy: ERROR! *headSectionData is NULL!"),
        PSI_TEXT(error, "sectionDataDestroy: ERROR! sectionData is NULL!"),
        PSI_TEXT(error, "sectionDataDestroy: sectionData zlst_delete failed!"),
        PSI_TEXT(info, "sectionDataDestroy: free sectionData OK!"),
    },
}};

namespace {

/** @brief Destroy every section that `matches`; the first failure ends it. */
template <class Matches> i32 destroySections(sectionData **head, Matches matches)
{
    if (!head) {
        PSI_ERROR("singleTypeSectionDataDestroy: ERROR! headSectionData is NULL!");
        return -1;
    }
    PoolGuard pool(psiMp);
    for (sectionData *node = *head, *next; node; node = next) {
        next = nextOf(node);
        if (matches(*node) && nodeDestroy(pool, head, node, sectionDataType, true) == -1)
            return -1;
    }
    return 0;
}

} // namespace

sectionData *sectionDataCreat(sectionData **head)
{
    return nodeCreat(head, sectionDataType);
}

i32 sectionDataDestroy(sectionData **head, sectionData *node)
{
    return nodeDestroy(head, node, sectionDataType, 1);
}

i32 singleTypeSectionDataDestroy(sectionData **head, u32 type)
{
    return destroySections(head, [=](const sectionData &node) { return node.psiType == type; });
}

i32 singleTypeAndIdExtSectionDataDestroy(sectionData **head, u32 type, u32 idExt)
{
    return destroySections(head, [=](const sectionData &node) { return node.psiType == type && node.idExt == idExt; });
}

sectionData *psi::core::creatSection(PoolGuard &pool, sectionData **head, const SectionTag &tag, u16 len,
                                     const StoreTexts &texts)
{
    sectionData *node = nodeCreat(pool, head, sectionDataType);
    if (!node) {
        logText(texts.creat);
        return nullptr;
    }
    node->psiType = tag.psiType;
    node->sectionNo = tag.sectionNo;
    node->idExt = tag.idExt;
    node->pid = tag.pid;
    node->len = len;
    node->buf = static_cast<u8 *>(pool.allocate(len));
    if (!node->buf) {
        logText(texts.memory);
        dropNew(pool, head, node, sectionDataType);
        return nullptr;
    }
    return node;
}

/* ------------------------------------------------------------------------------------------------------------------
 * The model
 * ---------------------------------------------------------------------------------------------------------------- */

constexpr Owned descInfoOwned[] = {
    ownedBytes(offsetof(descInfo, descData)),
};
constexpr NodeTypeOf<descInfo> psi::core::descInfoType = {{
    owningType<descInfo>(descInfoOwned),
    {
        PSI_TEXT(error, "descInfoCreat: ERROR! headDescInfo is NULL!"),
        PSI_TEXT(error, "descInfoCreat: buddy_malloc descInfo node failed"),
        PSI_TEXT(error, "descInfoCreat: descInfo zlst_push failed!"),
        PSI_TEXT(error, "descInfoDestroy: ERROR! headDescInfo is NULL!"),
        PSI_TEXT(error, "descInfoDestroy: ERROR! *headDescInfo is NULL!"),
        PSI_TEXT(error, "descInfoDestroy: ERROR! descInfo is NULL!"),
        PSI_TEXT(error, "descInfoDestroy: descInfo zlst_delete failed!"),
        PSI_TEXT(info, "descInfoDestroy: free descInfo OK!"),
    },
}};

constexpr Owned caInfoOwned[] = {
    ownedBytes(offsetof(caInfo, privateData)),
};
constexpr NodeTypeOf<caInfo> psi::core::caInfoType = {{
    owningType<caInfo>(caInfoOwned),
    {
        PSI_TEXT(error, "caInfoCreat: ERROR! headCaInfo is NULL!"),
        PSI_TEXT(error, "caInfoCreat: buddy_malloc caInfo node failed"),
        PSI_TEXT(error, "caInfoCreat: caInfo zlst_push failed!"),
        PSI_TEXT(error, "caInfoDestroy: ERROR! headCaInfo is NULL!"),
        PSI_TEXT(error, "caInfoDestroy: ERROR! *headCaInfo is NULL!"),
        PSI_TEXT(error, "caInfoDestroy: ERROR! caInfo is NULL!"),
        PSI_TEXT(error, "caInfoDestroy: caInfo zlst_delete failed!"),
        PSI_TEXT(info, "caInfoDestroy: free caInfo OK!"),
    },
}};

constexpr Owned esInfoOwned[] = {
    ownedList(offsetof(esInfo, caList), caInfoType, PSI_TEXT(error, "esInfoDestroy: ERROR! caInfoDestroy failed!")),
    ownedList(offsetof(esInfo, descList), descInfoType,
              PSI_TEXT(error, "esInfoDestroy: ERROR! descInfoDestroy failed!")),
};
constexpr NodeTypeOf<esInfo> psi::core::esInfoType = {{
    owningType<esInfo>(esInfoOwned),
    {
        PSI_TEXT(error, "esInfoCreat: ERROR! headEsInfo is NULL!"),
        PSI_TEXT(error, "esInfoCreat: buddy_malloc descInfo node failed"),
        PSI_TEXT(error, "esInfoCreat: esInfo zlst_push failed!"),
        PSI_TEXT(error, "esInfoDestroy: ERROR! headEsInfo is NULL!"),
        PSI_TEXT(error, "esInfoDestroy: ERROR! *headEsInfo is NULL!"),
        PSI_TEXT(error, "esInfoDestroy: ERROR! esInfo is NULL!"),
        PSI_TEXT(error, "esInfoDestroy: esInfo zlst_delete failed!"),
        PSI_TEXT(info, "esInfoDestroy: free esInfo OK!"),
    },
}};

constexpr Owned progInfoOwned[] = {
    ownedList(offsetof(progInfo, esList), esInfoType, PSI_TEXT(error, "progInfoDestroy: esInfoDestroy failed!")),
    ownedList(offsetof(progInfo, caList), caInfoType, PSI_TEXT(error, "progInfoDestroy: prog caInfoDestroy failed!")),
    ownedList(offsetof(progInfo, pmtDescList), descInfoType,
              PSI_TEXT(error, "progInfoDestroy: pmt descInfoDestroy failed!")),
    ownedList(offsetof(progInfo, sdtDescList), descInfoType,
              PSI_TEXT(error, "progInfoDestroy: sdt descInfoDestroy failed!")),
    ownedBytes(offsetof(progInfo, pname)),
    ownedBytes(offsetof(progInfo, sname)),
};
constexpr NodeTypeOf<progInfo> psi::core::progInfoType = {{
    owningType<progInfo>(progInfoOwned),
    {
        PSI_TEXT(error, "progInfoCreat: ERROR! headProgInfo is NULL!"),
        PSI_TEXT(error, "progInfoCreat: buddy_malloc descInfo node failed"),
        PSI_TEXT(error, "progInfoCreat: progInfo zlst_push failed!"),
        PSI_TEXT(error, "progInfoDestroy: ERROR! headProgInfo is NULL!"),
        PSI_TEXT(error, "progInfoDestroy: ERROR! *headProgInfo is NULL!"),
        PSI_TEXT(error, "progInfoDestroy: ERROR! progInfo is NULL!"),
        PSI_TEXT(error, "progInfoDestroy: progInfo zlst_delete failed!"),
        PSI_TEXT(info, "progInfoDestroy: free progInfo OK!"),
    },
}};

descInfo *descInfoCreat(descInfo **headDescInfo)
{
    return nodeCreat(headDescInfo, descInfoType);
}

i32 descInfoDestroy(descInfo **headDescInfo, descInfo *node, u32 freeData)
{
    return nodeDestroy(headDescInfo, node, descInfoType, freeData);
}

caInfo *caInfoCreat(caInfo **headCaInfo)
{
    return nodeCreat(headCaInfo, caInfoType);
}

i32 caInfoDestroy(caInfo **headCaInfo, caInfo *node, u32 freeData)
{
    return nodeDestroy(headCaInfo, node, caInfoType, freeData);
}

esInfo *esInfoCreat(esInfo **headEsInfo)
{
    return nodeCreat(headEsInfo, esInfoType);
}

i32 esInfoDestroy(esInfo **headEsInfo, esInfo *node, u32 freeData)
{
    return nodeDestroy(headEsInfo, node, esInfoType, freeData);
}

progInfo *progInfoCreat(progInfo **headProgInfo)
{
    return nodeCreat(headProgInfo, progInfoType);
}

i32 progInfoDestroy(progInfo **headProgInfo, progInfo *node, u32 freeData)
{
    return nodeDestroy(headProgInfo, node, progInfoType, freeData);
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

    void forgetNetworkName(tsInfo &model) const { forget(model.netname, model.netnameLen); }
    void forgetModel(tsInfo &model) const
    {
        forgetNetworkName(model);
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
    const Forgetter forgetter([=](const u8 *data) { return leadsInto(data, *section); });
    switch (section->psiType) {
    case PSI_NIT_ACTUAL:
        forgetter.forgetNetworkName(*model);
        break;
    case PSI_PMT:
    case PSI_SDT_ACTUAL:
    case PSI_CAT:
    case PSI_VCT:
        forgetter.forgetModel(*model);
        break;
    default: // of the others analysis keeps no pointer
        break;
    }
}

i32 psi::core::forgetSections(tsInfo &model, u32 type, i32 idExt)
{
    return destroySections(&model.sectionList, [&](const sectionData &node) {
        const bool matches = node.psiType == type && (idExt == anyIdExt || node.idExt == idExt);
        if (matches)
            forgetSectionBytes(&model, &node);
        return matches;
    });
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
    PoolGuard pool(psiMp);
    auto *obj = static_cast<tableObj *>(allocateZeroed(pool, sizeof(SearchObject)));
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
    u32 type = 0;
    for (auto &timeOutMs : obj->timeOutMs)
        timeOutMs = tableFacts(type++).defaultTimeOutMs;
    PSI_INFO("psiSchCreat: OK! objId = 0x%lx", static_cast<unsigned long>(obj->objId));
    return obj->objId;
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
i32 emptyModelLists(PoolGuard &pool, tsInfo &model, const ClearTexts &texts)
{
    if (emptyList(pool, &model.progList, progInfoType, false, texts.prog) == -1 ||
        emptyList(pool, &model.catCaList, caInfoType, false, texts.catCa) == -1 ||
        emptyList(pool, &model.catDescList, descInfoType, false, texts.catDesc) == -1 ||
        emptyList(pool, &model.vctDescList, descInfoType, false, texts.vctDesc) == -1)
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

i32 emptyModel(tsInfo &model)
{
    PoolGuard pool(psiMp);
    if (emptyList(pool, &model.sectionList, sectionDataType, true, clearTableInfoSections) == -1 ||
        emptyModelLists(pool, model, clearTableInfoTexts) == -1) {
        forgetLostBytes(model);
        return -1;
    }
    zeroModel(model, 0);
    return 0;
}

i32 clearLocked(tableObj &obj)
{
    const MutexGuard guard(obj.semId);
    return guard ? emptyModel(obj.tsInfo) : -1;
}

i32 destroyForgottenSections(tsInfo &model)
{
    for (const ForgottenType &type : forgottenTypes)
        if (singleTypeSectionDataDestroy(&model.sectionList, type.psiType) == -1)
            return schFail(type.failure);
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

i32 psiSchDestroy(psiObjId objId)
{
    tableObj *obj = getTableObj(objId);
    const unsigned long id = static_cast<unsigned long>(objId);
    if (!obj) {
        PSI_ERROR("psiSchDestroy: ERROR! objId is %lu, tableOj is not exist!", id);
        return -1;
    }
    // An object for which no mutex could be made can still be destroyed.
    if ((obj->semId != 0 ? clearTableInfo(objId) : emptyModel(obj->tsInfo)) == -1) {
        PSI_ERROR("psiSchDestroy: ERROR! objId is %lu, clearTableInfo failed!", id);
        return -1;
    }
    if (zlst_delete(&headTableObj, obj) == 0) {
        PSI_ERROR("psiSchDestroy: ERROR! objId is %lu, tableOj zlst_delete failed!", id);
        return -1;
    }
    osMutexDelete(obj->semId);
    memset(static_cast<void *>(obj), 0, sizeof(SearchObject));
    psi_buddy_free(obj);
    PSI_INFO("psiSchDestroy: free tableObj OK, id = %lu ! ", id);
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
    PoolGuard pool(psiMp);
    if (destroyForgottenSections(model) == -1 || emptyModelLists(pool, model, clearTsInfoTexts) == -1) {
        forgetLostBytes(model);
        return -1;
    }
    zeroModel(model, ~forgottenMask());
    PSI_INFO("clearTableInfo: OK! objId = %lu!", static_cast<unsigned long>(objId));
    return 0;
}
