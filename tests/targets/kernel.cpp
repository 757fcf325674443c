#include "kernel.h"

#include <symLib.h>
#include <sysLib.h>
#include <taskLib.h>
#include <tickLib.h>

#include <cstdlib>

Kernel kernel;

extern "C" {

#ifndef KERNEL_WITHOUT_SYMBOLS

SYMTAB_ID sysSymTbl = &kernel.symbols;

STATUS symFindByName(SYMTAB_ID table, char *name, char **value, SYM_TYPE *)
{
    const auto found = table->symbols.find(name);
    if (found == table->symbols.end()) {
        return ERROR;
    }
    *value = found->second;
    return OK;
}

STATUS symFind(SYMTAB_ID table, SYMBOL_DESC *symbol)
{
    return symbol->mask == SYM_FIND_BY_NAME ? symFindByName(table, symbol->name, &symbol->value, &symbol->type) : ERROR;
}

#endif

SEM_ID semMCreate(int options)
{
    semaphore &sem = kernel.sem.taken > 0 ? kernel.second : kernel.sem;
    sem = {options, 0, false};
    return kernel.outOfMutexes ? nullptr : &sem;
}

STATUS semTake(SEM_ID sem, int timeout)
{
    kernel.timeouts.push_back(timeout);
    if (kernel.semCallsFail) {
        return ERROR;
    }
    sem->taken++;
    return OK;
}

STATUS semGive(SEM_ID sem)
{
    if (kernel.semCallsFail) {
        return ERROR;
    }
    sem->taken--;
    return OK;
}

STATUS semDelete(SEM_ID sem)
{
    if (sem == nullptr || kernel.semCallsFail) {
        return ERROR;
    }
    sem->deleted = true;
    return OK;
}

STATUS taskDelay(int ticks)
{
    kernel.delays.push_back(ticks);
    kernel.tick += static_cast<unsigned>(ticks);
    return OK;
}

ULONG tickGet(void)
{
    return kernel.tick;
}

int sysClkRateGet(void)
{
    return kernel.clockRate;
}

/* The heap: blocks of the library's arenas are noted, those of the test's own are too small for one. */
void *__real_memalign(size_t alignment, size_t size);
void *__real_malloc(size_t size);
void __real_free(void *block);
void *__wrap_memalign(size_t alignment, size_t size);
void *__wrap_malloc(size_t size);
void __wrap_free(void *block);
}

namespace {

constexpr size_t smallestArena = 4096;

void *note(void *block)
{
    kernel.blocks.insert(block);
    return block;
}

} // namespace

void *__wrap_memalign(size_t alignment, size_t size)
{
    kernel.alignment = alignment;
    return kernel.outOfMemory ? nullptr : note(__real_memalign(alignment, size));
}

void *__wrap_malloc(size_t size)
{
    if (size < smallestArena) {
        return __real_malloc(size);
    }
    // Never aligned to more than malloc() promises, so that nobody relies on it.
    return kernel.outOfMemory ? nullptr : note(static_cast<char *>(__real_malloc(size + 16)) + 16);
}

void __wrap_free(void *block)
{
    const bool noted = kernel.blocks.erase(block) != 0;
    __real_free(noted && kernel.alignment == 0 ? static_cast<char *>(block) - 16 : block);
}
