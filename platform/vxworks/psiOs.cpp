/**
 * @file psiOs.cpp
 * @brief Arenas from the kernel's heap; all other calls go straight to the kernel.
 */
#include "psiOs.h"

#include <memLib.h>
#include <stdlib.h>

namespace {

constexpr unsigned arenaAlignment = 4096; // a page, as on other systems

} // namespace

void *psiOsArenaMap(u32 size)
{
    return memalign(arenaAlignment, size);
}

void psiOsArenaUnmap(void *arena, u32 /*size*/)
{
    free(arena);
}
