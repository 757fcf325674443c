#include "psiInternal.h"
#include "psiTables.h"

using namespace psi::core;

i32 psiSchLock(psiObjId objId)
{
    const tableObj *obj = getTableObj(objId);
    return obj && osMutexTake(obj->semId) ? 0 : -1;
}

i32 psiSchUnlock(psiObjId objId)
{
    const tableObj *obj = getTableObj(objId);
    return obj && osMutexGive(obj->semId) ? 0 : -1;
}

i32 psiSchUserPointerSet(psiObjId objId, void *pointer)
{
    tableObj *obj = getTableObj(objId);
    if (!obj)
        return -1;
    relaxedStore(searchObject(obj)->userPointer, pointer);
    return 0;
}

void *psiSchUserPointer(psiObjId objId)
{
    tableObj *obj = getTableObj(objId);
    return obj ? relaxedLoad(searchObject(obj)->userPointer) : nullptr;
}

void psi::core::setEndReason(tableObj *obj, u32 type, psiEndReason reason)
{
    if (obj && tableFacts(type).loop != SearchLoop::none)
        relaxedStore(searchObject(obj)->endReasons[type], static_cast<u8>(reason));
}

psiEndReason psiSchEndReason(psiObjId objId, u32 type)
{
    tableObj *obj = getTableObj(objId);
    if (!obj || tableFacts(type).loop == SearchLoop::none)
        return PSI_END_NEVER;
    return static_cast<psiEndReason>(relaxedLoad(searchObject(obj)->endReasons[type]));
}

i32 psiSchSectionsDestroy(psiObjId objId, u32 type, i32 idExt)
{
    tableObj *obj = getTableObj(objId);
    if (!obj)
        return -1;
    const MutexGuard guard(obj->semId);
    return guard ? forgetSections(obj->tsInfo, type, idExt) : -1;
}
