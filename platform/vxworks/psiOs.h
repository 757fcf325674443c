/**
 * @file psiOs.h
 * @brief The kernel calls of the library on VxWorks: the kernel's own.
 */
#ifndef PSI_OS_H
#define PSI_OS_H

#include <vxWorks.h>

#include <semLib.h>
#include <symLib.h>
#include <sysSymTbl.h>

#include "psi.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @brief Get memory for a pool's arena. @param size bytes @return the memory, not zeroed, or null */
void *psiOsArenaMap(u32 size);

/** @brief Give an arena back. @param arena from psiOsArenaMap() @param size as it was asked for */
void psiOsArenaUnmap(void *arena, u32 size);

#ifdef __cplusplus
}
#endif

#endif /* PSI_OS_H */
