/**
 * @file psiOs.cpp
 * @brief The kernel's own mutexes, its symbol table, and arenas from its heap.
 *
 * A mutex's handle is the kernel's SEM_ID.
 */
#include <vxWorks.h>

#include <memLib.h>
#include <semLib.h>
#include <stdlib.h>
#include <string.h>
#include <symLib.h>
#include <sysSymTbl.h>

#include "os.h"

namespace psi::core {
namespace {

constexpr unsigned arenaAlignment = 4096; // a page, as on other systems

SEM_ID semOf(psiSemId mutex)
{
    return reinterpret_cast<SEM_ID>(mutex);
}

} // namespace

psiSemId osMutexCreate()
{
    return reinterpret_cast<psiSemId>(semMCreate(SEM_Q_PRIORITY | SEM_INVERSION_SAFE));
}

bool osMutexTake(psiSemId mutex)
{
    return mutex != 0 && semTake(semOf(mutex), WAIT_FOREVER) == OK;
}

bool osMutexGive(psiSemId mutex)
{
    return mutex != 0 && semGive(semOf(mutex)) == OK;
}

bool osMutexDelete(psiSemId mutex)
{
    return mutex != 0 && semDelete(semOf(mutex)) == OK;
}

void *osSymbol(const char *name)
{
    char *value = nullptr;
    if (symFindByName(sysSymTbl, const_cast<char *>(name), &value, nullptr) != OK)
        return nullptr;
    return value;
}

void *osArenaMap(u32 size, u32 zeroed)
{
    void *arena = memalign(arenaAlignment, size);
    if (arena != nullptr)
        memset(arena, 0, zeroed);
    return arena;
}

void osArenaUnmap(void *arena, u32 /*size*/)
{
    free(arena);
}

} // namespace psi::core
