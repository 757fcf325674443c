/**
 * @file psiOs.cpp
 * @brief The kernel's own mutexes, its symbol table, and arenas from its heap.
 *
 * A mutex's handle is the kernel's SEM_ID. For kernels from 6.9 on, with their own headers, PSI_VXWORKS_SYMFIND takes
 * the call that replaces symFindByName(). PSI_VXWORKS_MALLOC does without memalign(), which 5.5 has only with the full
 * memory manager.
 */
#include <vxWorks.h>

#include <memLib.h>
#include <semLib.h>
#include <stdlib.h>
#include <string.h>
#include <symLib.h>
#include <sysSymTbl.h>

#include "os.h"

// An image without a symbol table has none of these names. Weak by pragma, as the kernel's headers declare them.
#pragma weak sysSymTbl
#ifdef PSI_VXWORKS_SYMFIND
#pragma weak symFind
#else
#pragma weak symFindByName
#endif

namespace psi::core {
namespace {

[[maybe_unused]] constexpr u32 page = 4096;
[[maybe_unused]] constexpr u32 cacheLine = 64;

SEM_ID semOf(psiSemId mutex)
{
    return reinterpret_cast<SEM_ID>(mutex);
}

/** The address of a symbol of the table, or null. */
void *findIn(SYMTAB_ID table, char *name)
{
#ifdef PSI_VXWORKS_SYMFIND
    SYMBOL_DESC symbol;
    memset(&symbol, 0, sizeof symbol);
    symbol.mask = SYM_FIND_BY_NAME;
    symbol.name = name;
    return symFind(table, &symbol) == OK ? symbol.value : nullptr;
#else
    char *value = nullptr;
    return symFindByName(table, name, &value, nullptr) == OK ? value : nullptr;
#endif
}

/** Memory that begins at a page, as on other systems; without memalign() at a cache line, behind malloc()'s address. */
void *allocate(u32 size)
{
#ifdef PSI_VXWORKS_MALLOC
    constexpr u32 margin = cacheLine + sizeof(void *);
    auto *block = static_cast<u8 *>(size <= UINT32_MAX - margin ? malloc(size + margin) : nullptr);
    if (block == nullptr)
        return nullptr;
    u8 *arena = block + margin - reinterpret_cast<uintptr_t>(block + margin) % cacheLine;
    memcpy(arena - sizeof block, &block, sizeof block);
    return arena;
#else
    return memalign(page, size);
#endif
}

void release(void *arena)
{
#ifdef PSI_VXWORKS_MALLOC
    void *block;
    memcpy(&block, static_cast<u8 *>(arena) - sizeof block, sizeof block);
    free(block);
#else
    free(arena);
#endif
}

} // namespace

psiSemId osMutexCreate(MutexUse use)
{
    const int safety = use == MutexUse::pool ? SEM_DELETE_SAFE : 0;
    return reinterpret_cast<psiSemId>(semMCreate(SEM_Q_PRIORITY | SEM_INVERSION_SAFE | safety));
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
    // The kernel changes nothing at the name; its older headers say char *.
    return &sysSymTbl != nullptr && sysSymTbl != nullptr ? findIn(sysSymTbl, const_cast<char *>(name)) : nullptr;
}

void *osArenaMap(u32 size, u32 zeroed)
{
    void *arena = allocate(size);
    if (arena != nullptr)
        memset(arena, 0, zeroed);
    return arena;
}

void osArenaUnmap(void *arena, u32 /*size*/)
{
    release(arena);
}

} // namespace psi::core
