#include "psiInternal.h"

using namespace psi::core;

tableMakeObj *headMakeTableObj = nullptr;

psiObjId psiMakeCreate(void)
{
    PoolGuard pool(psiMp);
    auto *obj = static_cast<tableMakeObj *>(allocateZeroed(pool, sizeof(tableMakeObj)));
    if (!obj) {
        MAKE_ERROR("psiMakeCreate: malloc TableOj failed!");
        return 0;
    }
    if (zlst_push(&headMakeTableObj, obj) != 0) {
        MAKE_ERROR("psiMakeCreate: newTableObj zlst_push failed!");
        psi_buddy_free(obj);
        return 0;
    }
    obj->semId = osMutexCreate(MutexUse::object);
    obj->objId = reinterpret_cast<psiObjId>(obj);
    MAKE_INFO("psiMakeCreate: OK! objId = 0x%lx", static_cast<unsigned long>(obj->objId));
    return obj->objId;
}

namespace {

/** @brief How often one node that cannot be destroyed is tried. */
constexpr u32 maxTries = 3;

/**
 * @brief Destroy the first node until the list is empty, and go on after failures.
 * @return 0, or -1 when a destroy failed
 */
template <class Node>
i32 emptyStubbornly(PoolGuard &pool, Node **head, const NodeTypeOf<Node> &type, const LogText &failure)
{
    i32 result = 0;
    u32 tries = 0;
    while (*head && tries < maxTries) {
        const Node *const first = *head;
        if (nodeDestroy(pool, head, *head, type, true) == -1)
            result = makeFail(failure);
        tries = *head == first ? tries + 1 : 0;
    }
    return result;
}

constexpr LogText sectionsFailed = PSI_TEXT(error, "clearMakeTableInfo: sectionDataDestroy failed!");
constexpr LogText progFailed = PSI_TEXT(error, "clearMakeTableInfo: progInfoDestroy failed!");
constexpr LogText catCaFailed = PSI_TEXT(error, "clearMakeTableInfo: cat caInfoDestroy failed!");
constexpr LogText catDescFailed = PSI_TEXT(error, "clearMakeTableInfo: cat descInfoDestroy failed!");
constexpr LogText vctDescFailed = PSI_TEXT(error, "clearMakeTableInfo: vct descInfoDestroy failed!");

i32 emptyModel(tsInfo &model)
{
    PoolGuard pool(psiMp);
    const i32 results[] = {
        emptyStubbornly(pool, &model.sectionList, sectionDataType, sectionsFailed),
        emptyStubbornly(pool, &model.progList, progInfoType, progFailed),
        emptyStubbornly(pool, &model.catCaList, caInfoType, catCaFailed),
        emptyStubbornly(pool, &model.catDescList, descInfoType, catDescFailed),
        emptyStubbornly(pool, &model.vctDescList, descInfoType, vctDescFailed),
    };
    if (model.netnameLen != 0)
        pool.release(model.netname);
    // The next PAT of this output goes on from the version of the last one.
    const u8 patVersion = model.patHead.version_number;
    memset(&model, 0, sizeof(model));
    model.patHead.version_number = patVersion;
    i32 result = 0;
    for (const i32 one : results)
        if (one == -1)
            result = -1;
    return result;
}

i32 clearLocked(tableMakeObj &obj)
{
    const MutexGuard guard(obj.semId);
    return guard ? emptyModel(obj.tsInfo) : -1;
}

} // namespace

i32 clearMakeTableInfo(psiObjId objId)
{
    tableMakeObj *obj = getOutTableObj(objId);
    if (!obj) {
        MAKE_ERROR("clearMakeTableInfo: get tableObj failed, objId = %lu!", static_cast<unsigned long>(objId));
        return -1;
    }
    if (clearLocked(*obj) == -1)
        return -1;
    MAKE_INFO("clearMakeTableInfo: OK! objId = %lu!", static_cast<unsigned long>(objId));
    return 0;
}

i32 psiMakeDestroy(psiObjId objId)
{
    tableMakeObj *obj = getOutTableObj(objId);
    const unsigned long id = static_cast<unsigned long>(objId);
    if (!obj) {
        MAKE_ERROR("psiMakeDestroy: ERROR! objId is %lu, tableOj is not exist!", id);
        return -1;
    }
    i32 result = 0;
    if (clearMakeTableInfo(objId) == -1) {
        MAKE_ERROR("psiMakeDestroy: ERROR! objId is %lu, clearMakeTableInfo failed!", id);
        emptyModel(obj->tsInfo); // for want of the mutex it may not be
        result = -1;
    }
    if (zlst_delete(&headMakeTableObj, obj) == 0) {
        MAKE_ERROR("psiMakeDestroy: ERROR! objId is %lu, tableOj zlst_delete failed!", id);
        result = -1;
    }
    osMutexDelete(obj->semId);
    psi_buddy_free(obj);
    if (result == 0)
        MAKE_INFO("psiMakeDestroy: free tableObj OK, id = %lu ! ", id);
    return result;
}
