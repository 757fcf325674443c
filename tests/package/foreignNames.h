/**
 * @file foreignNames.h
 * @brief Names that a product beside the library may well have for itself: those of the kernel's calls (an emulation of
 *        VxWorks), of the host callbacks, of common helpers and classes.
 *
 * Each function says that it was called; nobody but main() of foreignHost.c may do so.
 */
#ifndef FOREIGN_NAMES_H
#define FOREIGN_NAMES_H

#include <stdio.h>
#include <stdlib.h>

static int foreignCalls;

static int foreign(void)
{
    if (++foreignCalls == 1000) { /* a loop of the library's hangs on it */
        printf("the library keeps calling functions of the host's\n");
        exit(1);
    }
    return -1;
}

/* The kernel's calls. */
int semMCreate(int options)
{
    return (void)options, foreign();
}
int semBCreate(int options, int state)
{
    return (void)options, (void)state, foreign();
}
int semTake(int sem, int timeout)
{
    return (void)sem, (void)timeout, foreign();
}
int semGive(int sem)
{
    return (void)sem, foreign();
}
int semDelete(int sem)
{
    return (void)sem, foreign();
}
int symFindByName(void *table, char *name)
{
    return (void)table, (void)name, foreign();
}
int symFind(void *table, char *name)
{
    return (void)table, (void)name, foreign();
}
int symAdd(void *table, char *name)
{
    return (void)table, (void)name, foreign();
}
int symRemove(void *table, char *name)
{
    return (void)table, (void)name, foreign();
}
int taskDelay(int ticks)
{
    return (void)ticks, foreign();
}
int tickGet(void)
{
    return foreign();
}
int sysClkRateGet(void)
{
    return foreign();
}
void *sysSymTbl = &foreignCalls;

/* Pools and lists. */
int buddy_create(unsigned size, unsigned block)
{
    return (void)size, (void)block, foreign();
}
int buddy_destroy(int pool)
{
    return (void)pool, foreign();
}
int buddy_malloc(int pool, unsigned size)
{
    return (void)pool, (void)size, foreign();
}
int buddy_free(int pool, void *block)
{
    return (void)pool, (void)block, foreign();
}
int buddy_realloc(int pool, void *block)
{
    return (void)pool, (void)block, foreign();
}
int buddy_report(int pool)
{
    return (void)pool, foreign();
}
int buddy_size(int pool, void *block)
{
    return (void)pool, (void)block, foreign();
}
int buddy_stat(int pool, void *stat)
{
    return (void)pool, (void)stat, foreign();
}

/* What the library may call its own state and helpers. */
int psi_rpt_lvl = 0x7F7F7F7F;
int psimake_rpt_lvl = 0x7F7F7F7F;
int psiMp = 0x7F7F7F7F;
int logPrefix(void)
{
    return foreign();
}
int makeStr(void)
{
    return foreign();
}
int storeSection(void)
{
    return foreign();
}
int schNormalPsi(void)
{
    return foreign();
}
int schPmt(void)
{
    return foreign();
}
int ts2Section(void)
{
    return foreign();
}
int psiOsArenaMap(void)
{
    return foreign();
}
int psiOsArenaUnmap(void)
{
    return foreign();
}
int osMutexTake(void)
{
    return foreign();
}
int osSymbol(void)
{
    return foreign();
}
int readLinks(void)
{
    return foreign();
}
int append(void)
{
    return foreign();
}

#endif
