/**
 * @file psiOs.cpp
 * @brief The calls of the library to an operating system, empty: copy this folder and fill them in.
 *
 * What each has to do is written in os.h; here stands how it is usually done, and what its empty body means. As it is,
 * everything compiles and psiSch_Init() fails, for there is no memory. docs/porting.md goes through it step by step.
 *
 * The calls may use whatever the system has. They are called from the host's tasks, never from an interrupt.
 */
#include "os.h"

namespace psi::core {

/*
 * The mutex has to be recursive: the task that holds it may take it again, and gives it back as often. With priority
 * inheritance, if the system has that: a task of a low priority that searches must not hold up one of a high priority
 * longer than it takes. `use` tells mutexes of objects, held for the whole of a search, from those of the pool, held
 * for some hundred instructions: if the system can keep a task from being deleted while it holds one of the pool, ask
 * for it.
 *
 * The handle is whatever fits into an address, most often the address of the system's own record.
 *
 * Empty: 0, as if the system had no mutex left, and no object is created. Where there is only one task, any other
 * number will do, and the three calls below return whether they were given one.
 */
psiSemId osMutexCreate(MutexUse /*use*/)
{
    return 0;
}

/*
 * Wait as long as it takes. A result of false (the handle is 0, the mutex is gone) makes the library's operation fail;
 * it never goes on without the mutex.
 */
bool osMutexTake(psiSemId /*mutex*/)
{
    return false;
}

bool osMutexGive(psiSemId /*mutex*/)
{
    return false;
}

/* Only one that is free or the caller's own. A mutex that another task holds has to stay, and the answer is false. */
bool osMutexDelete(psiSemId /*mutex*/)
{
    return false;
}

/*
 * Asked for "module_info_register" by psi_info_register(), and for nothing else. Where symbols cannot be looked up at
 * run time, and where no such function exists, null is right.
 */
void *osSymbol(const char * /*name*/)
{
    return nullptr;
}

/*
 * Called once, by psiSch_Init(): the whole memory of the library, which it shares out itself. From the system's heap,
 * from a partition, or a static array; at a cache line (64 bytes) or better a page. The first `zeroed` bytes have to be
 * zero, what is behind them may hold anything.
 *
 * Empty: null, and psiSch_Init() fails.
 */
void *osArenaMap(u32 /*size*/, u32 /*zeroed*/)
{
    return nullptr;
}

/* Called by psiSch_Exit(), with what osArenaMap() gave. */
void osArenaUnmap(void * /*arena*/, u32 /*size*/) {}

} // namespace psi::core
