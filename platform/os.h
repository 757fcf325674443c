/**
 * @file os.h
 * @brief What the library asks of an operating system. The folder of each one (posix/, vxworks/) defines it once.
 */
#ifndef PSI_OS_H
#define PSI_OS_H

#include "psi.h"

namespace psi::core {

/** @brief What a mutex guards: while a task holds one of `pool`, it must not be deleted, for others would wait forever.
 */
enum class MutexUse : u8 { object, pool };

/**
 * @brief Create a mutex that its owner may take again and that lends the owner the priority of its highest waiter.
 * @param use what it guards
 * @return the mutex, or 0. What the handle is, the folder's psiOs.cpp says
 */
psiSemId osMutexCreate(MutexUse use);

/** @brief Take a mutex, however long that takes. @return whether it was taken; a mutex 0 never is */
bool osMutexTake(psiSemId mutex);

/** @brief Give a mutex back. @return false, and nothing happens, when it is 0 or the caller does not own it */
bool osMutexGive(psiSemId mutex);

/** @brief Destroy a mutex. @return whether it is gone; one that is 0 or that another task holds is not destroyed */
bool osMutexDelete(psiSemId mutex);

/** @brief The address of a function of the host's. @param name of the symbol @return null when there is none */
void *osSymbol(const char *name);

/**
 * @brief Get memory for a pool's arena, page-aligned and, where the system has such addresses to give, below 4 GiB.
 * @param size bytes
 * @param zeroed so many bytes of it, the first ones, have to be zero
 * @return the memory, or null
 */
void *osArenaMap(u32 size, u32 zeroed);

/** @brief Give an arena back. @param arena from osArenaMap() @param size as it was asked for */
void osArenaUnmap(void *arena, u32 size);

} // namespace psi::core

#endif
