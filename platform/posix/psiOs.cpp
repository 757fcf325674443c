/**
 * @file psiOs.cpp
 * @brief Mutexes on POSIX threads, symbol look-up on the dynamic linker, arenas on mmap().
 *
 * A mutex's handle is the address of a pthread_mutex_t.
 */
#ifndef _GNU_SOURCE
#define _GNU_SOURCE // RTLD_DEFAULT, MAP_32BIT
#endif
#include "os.h"

#include <dlfcn.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>

// A weak reference finds the host's function in any program that has it, exported or not; null in any other.
extern "C" __attribute__((weak)) int module_info_register(void *record);

namespace psi::core {
namespace {

pthread_mutex_t *mutexOf(psiSemId handle)
{
    return reinterpret_cast<pthread_mutex_t *>(handle);
}

int initMutex(pthread_mutex_t *mutex)
{
    pthread_mutexattr_t attr;
    int result = pthread_mutexattr_init(&attr);
    if (result != 0)
        return result;
    result = pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    if (result == 0)
        result = pthread_mutexattr_setprotocol(&attr, PTHREAD_PRIO_INHERIT);
    if (result == 0)
        result = pthread_mutex_init(mutex, &attr);
    pthread_mutexattr_destroy(&attr);
    return result;
}

} // namespace

psiSemId osMutexCreate(MutexUse /*use*/)
{
    auto *mutex = static_cast<pthread_mutex_t *>(malloc(sizeof(pthread_mutex_t)));
    if (mutex != nullptr && initMutex(mutex) != 0) {
        free(mutex);
        return 0;
    }
    return reinterpret_cast<psiSemId>(mutex);
}

bool osMutexTake(psiSemId mutex)
{
    return mutex != 0 && pthread_mutex_lock(mutexOf(mutex)) == 0;
}

bool osMutexGive(psiSemId mutex)
{
    return mutex != 0 && pthread_mutex_unlock(mutexOf(mutex)) == 0;
}

bool osMutexDelete(psiSemId mutex)
{
    // The destruction of a mutex that another thread holds is undefined, so that is found out before.
    if (mutex == 0 || pthread_mutex_trylock(mutexOf(mutex)) != 0)
        return false;
    if (pthread_mutex_unlock(mutexOf(mutex)) != 0 || pthread_mutex_destroy(mutexOf(mutex)) != 0)
        return false;
    free(mutexOf(mutex));
    return true;
}

/* ---------------------------------------------------------------------------------------------------------------- */

void *osSymbol(const char *name)
{
    if (strcmp(name, "module_info_register") == 0 && module_info_register != nullptr)
        return reinterpret_cast<void *>(module_info_register);
    return dlsym(RTLD_DEFAULT, name);
}

/* ---------------------------------------------------------------------------------------------------------------- */

namespace {

void *mapAt(uintptr_t hint, u32 size, int flags)
{
    void *at =
        mmap(reinterpret_cast<void *>(hint), size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | flags, -1, 0);
    return at != MAP_FAILED ? at : nullptr;
}

bool isBelow4GiB(const void *at, u32 size)
{
    return reinterpret_cast<uintptr_t>(at) <= UINT32_MAX - size;
}

/** Without MAP_FIXED the kernel takes a hint only where nothing is in the way. */
void *mapByHints(u32 size)
{
    constexpr uintptr_t step = 0x10000000;
    for (uintptr_t hint = 1; hint < 16; hint++) {
        void *at = mapAt(hint * step, size, 0);
        if (at == nullptr || isBelow4GiB(at, size))
            return at;
        munmap(at, size);
    }
    return nullptr;
}

} // namespace

/** All of a fresh mapping is zero, and its pages cost nothing before they are touched. */
void *osArenaMap(u32 size, u32 /*zeroed*/)
{
    void *at = nullptr;
#ifdef MAP_32BIT
    at = mapAt(0, size, MAP_32BIT);
#endif
    if (at == nullptr)
        at = mapByHints(size);
    return at != nullptr ? at : mapAt(0, size, 0);
}

void osArenaUnmap(void *arena, u32 size)
{
    munmap(arena, size);
}

} // namespace psi::core
