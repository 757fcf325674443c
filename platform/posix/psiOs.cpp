/**
 * @file psiOs.cpp
 * @brief Mutexes on POSIX threads, symbol look-up on the dynamic linker, arenas on mmap().
 */
#ifndef _GNU_SOURCE
#define _GNU_SOURCE // RTLD_DEFAULT, MAP_32BIT
#endif
#include "psiOs.h"

#include <dlfcn.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <time.h>

struct psiOsSem {
    pthread_mutex_t mutex;
};

struct psiOsSym {
    psiOsSym *next;
    char *value;
    SYM_TYPE type;
    char name[1]; // the whole name, the record is as long as it takes
};

struct psiOsSymTab {
    pthread_mutex_t mutex;
    psiOsSym *latest;
};

namespace {

psiOsSymTab symTab = {PTHREAD_MUTEX_INITIALIZER, nullptr};

STATUS statusOf(int pthreadResult)
{
    return pthreadResult == 0 ? OK : ERROR;
}

int initMutex(pthread_mutex_t *mutex, int protocol)
{
    pthread_mutexattr_t attr;
    int result = pthread_mutexattr_init(&attr);
    if (result != 0) {
        return result;
    }
    result = pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    if (result == 0) {
        result = pthread_mutexattr_setprotocol(&attr, protocol);
    }
    if (result == 0) {
        result = pthread_mutex_init(mutex, &attr);
    }
    pthread_mutexattr_destroy(&attr);
    return result;
}

timespec msFromNow(int ms)
{
    constexpr long nsPerMs = 1000000;
    constexpr long nsPerSecond = 1000 * nsPerMs;
    timespec when = {};
    clock_gettime(CLOCK_REALTIME, &when);
    when.tv_sec += ms / 1000;
    when.tv_nsec += ms % 1000 * nsPerMs;
    if (when.tv_nsec >= nsPerSecond) {
        when.tv_sec++;
        when.tv_nsec -= nsPerSecond;
    }
    return when;
}

} // namespace

SEM_ID semMCreate(int options)
{
    const bool byPriority = (options & SEM_Q_PRIORITY) != 0;
    const bool inversionSafe = (options & SEM_INVERSION_SAFE) != 0;
    if ((options & ~(SEM_Q_PRIORITY | SEM_INVERSION_SAFE)) != 0 || (inversionSafe && !byPriority)) {
        return nullptr;
    }
    auto *sem = static_cast<SEM_ID>(malloc(sizeof(psiOsSem)));
    if (sem != nullptr && initMutex(&sem->mutex, inversionSafe ? PTHREAD_PRIO_INHERIT : PTHREAD_PRIO_NONE) != 0) {
        free(sem);
        return nullptr;
    }
    return sem;
}

STATUS semTake(SEM_ID sem, int timeout)
{
    if (sem == nullptr || timeout < WAIT_FOREVER) {
        return ERROR;
    }
    if (timeout == WAIT_FOREVER) {
        return statusOf(pthread_mutex_lock(&sem->mutex));
    }
    if (timeout == NO_WAIT) {
        return statusOf(pthread_mutex_trylock(&sem->mutex));
    }
    const timespec until = msFromNow(timeout);
    return statusOf(pthread_mutex_timedlock(&sem->mutex, &until));
}

STATUS semGive(SEM_ID sem)
{
    return sem == nullptr ? ERROR : statusOf(pthread_mutex_unlock(&sem->mutex));
}

STATUS semDelete(SEM_ID sem)
{
    // The destruction of a mutex that another thread holds is undefined, so that is found out before.
    if (semTake(sem, NO_WAIT) != OK || semGive(sem) != OK || pthread_mutex_destroy(&sem->mutex) != 0) {
        return ERROR;
    }
    free(sem);
    return OK;
}

/* ---------------------------------------------------------------------------------------------------------------- */

SYMTAB_ID sysSymTbl = &symTab;

// A weak reference finds the host's function in any program that has it, exported or not; null in any other.
extern "C" __attribute__((weak)) int module_info_register(void *record);

namespace {

psiOsSym **findAdded(SYMTAB_ID table, const char *name, const SYM_TYPE *type)
{
    psiOsSym **link = &table->latest;
    while (*link != nullptr && (strcmp((*link)->name, name) != 0 || (type != nullptr && (*link)->type != *type))) {
        link = &(*link)->next;
    }
    return link;
}

bool readAdded(SYMTAB_ID table, const char *name, char **value, SYM_TYPE *type)
{
    pthread_mutex_lock(&table->mutex);
    const psiOsSym *symbol = *findAdded(table, name, nullptr);
    if (symbol != nullptr) {
        *value = symbol->value;
        *type = symbol->type;
    }
    pthread_mutex_unlock(&table->mutex);
    return symbol != nullptr;
}

char *findLinked(const char *name)
{
    if (strcmp(name, "module_info_register") == 0 && module_info_register != nullptr) {
        return reinterpret_cast<char *>(module_info_register);
    }
    return static_cast<char *>(dlsym(RTLD_DEFAULT, name));
}

} // namespace

// NOLINTNEXTLINE(readability-non-const-parameter): the kernel's signature
STATUS symFindByName(SYMTAB_ID table, char *name, char **value, SYM_TYPE *type)
{
    if (table == nullptr || name == nullptr || value == nullptr) {
        return ERROR;
    }
    SYM_TYPE unused = SYM_UNDF;
    SYM_TYPE &foundType = type != nullptr ? *type : unused;
    if (readAdded(table, name, value, &foundType)) {
        return OK;
    }
    char *linked = findLinked(name);
    if (linked == nullptr) {
        return ERROR;
    }
    *value = linked;
    foundType = SYM_UNDF;
    return OK;
}

STATUS symAdd(SYMTAB_ID table, char *name, char *value, SYM_TYPE type, unsigned short /*group*/)
{
    if (table == nullptr || name == nullptr || value == nullptr) {
        return ERROR;
    }
    const size_t nameLen = strlen(name);
    auto *symbol = static_cast<psiOsSym *>(malloc(sizeof(psiOsSym) + nameLen));
    if (symbol == nullptr) {
        return ERROR;
    }
    symbol->value = value;
    symbol->type = type;
    memcpy(symbol->name, name, nameLen + 1);
    pthread_mutex_lock(&table->mutex);
    symbol->next = table->latest;
    table->latest = symbol;
    pthread_mutex_unlock(&table->mutex);
    return OK;
}

STATUS symRemove(SYMTAB_ID table, char *name, SYM_TYPE type)
{
    if (table == nullptr || name == nullptr) {
        return ERROR;
    }
    pthread_mutex_lock(&table->mutex);
    psiOsSym **link = findAdded(table, name, &type);
    psiOsSym *symbol = *link;
    if (symbol != nullptr) {
        *link = symbol->next;
    }
    pthread_mutex_unlock(&table->mutex);
    free(symbol);
    return symbol != nullptr ? OK : ERROR;
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
        if (at == nullptr || isBelow4GiB(at, size)) {
            return at;
        }
        munmap(at, size);
    }
    return nullptr;
}

} // namespace

void *psiOsArenaMap(u32 size)
{
    void *at = nullptr;
#ifdef MAP_32BIT
    at = mapAt(0, size, MAP_32BIT);
#endif
    if (at == nullptr) {
        at = mapByHints(size);
    }
    return at != nullptr ? at : mapAt(0, size, 0);
}

void psiOsArenaUnmap(void *arena, u32 size)
{
    munmap(arena, size);
}
