/**
 * @file psiOs.h
 * @brief The kernel calls of the library on POSIX, under their VxWorks names and with their VxWorks senses.
 */
#ifndef PSI_OS_H
#define PSI_OS_H

#include "psi.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef int STATUS;

#define OK    0
#define ERROR (-1)

#define WAIT_FOREVER (-1)
#define NO_WAIT      0

#define SEM_Q_FIFO         0x0
#define SEM_Q_PRIORITY     0x1
#define SEM_INVERSION_SAFE 0x8

typedef struct psiOsSem *SEM_ID;

/**
 * @brief Create a mutex that its owner may take again.
 * @param options SEM_Q_PRIORITY and SEM_INVERSION_SAFE, or'ed; the latter only with the former
 * @return the mutex, or null when memory is short or the options make no mutex
 *
 * SEM_INVERSION_SAFE lends the owner the priority of the highest waiter. The queue order is the scheduler's.
 */
SEM_ID semMCreate(int options);

/**
 * @brief Take a mutex.
 * @param sem the mutex
 * @param timeout WAIT_FOREVER, NO_WAIT, or how many milliseconds to wait
 * @return OK, or ERROR when it is null or was not to be had in time
 */
STATUS semTake(SEM_ID sem, int timeout);

/** @brief Give a mutex back. @param sem the mutex @return OK, or ERROR when it is null or the caller does not own it */
STATUS semGive(SEM_ID sem);

/** @brief Destroy a mutex. @param sem the mutex @return OK, or ERROR when it is null or taken: it stays then */
STATUS semDelete(SEM_ID sem);

typedef struct psiOsSymTab *SYMTAB_ID;
typedef unsigned char SYM_TYPE;

#define SYM_UNDF   0x0
#define SYM_GLOBAL 0x1
#define SYM_ABS    0x2
#define SYM_TEXT   0x4
#define SYM_DATA   0x6
#define SYM_BSS    0x8

/** @brief The one symbol table. */
extern SYMTAB_ID sysSymTbl;

/**
 * @brief Find a symbol: among those added by symAdd(), the latest first, then among those that the program exports.
 * @param table sysSymTbl
 * @param name the symbol's name
 * @param value gets its address
 * @param type gets its type, SYM_UNDF for an exported one; may be null
 * @return OK or ERROR
 *
 * A program exports a symbol when it is linked with -rdynamic or has it from a shared object. The function
 * `module_info_register` is found without that, wherever it is linked in.
 */
STATUS symFindByName(SYMTAB_ID table, char *name, char **value, SYM_TYPE *type);

/**
 * @brief Add a symbol, for programs that export none.
 * @param table sysSymTbl
 * @param name its name, copied
 * @param value its address
 * @param type SYM_TEXT and the like, kept for symFindByName()
 * @param group not used
 * @return OK, or ERROR when an argument is null or memory is short
 */
STATUS symAdd(SYMTAB_ID table, char *name, char *value, SYM_TYPE type, unsigned short group);

/**
 * @brief Remove the symbol that was added last under a name and type.
 * @param table sysSymTbl
 * @param name its name
 * @param type its type
 * @return OK, or ERROR when there is none
 */
STATUS symRemove(SYMTAB_ID table, char *name, SYM_TYPE type);

/**
 * @brief Get memory for a pool's arena, page-aligned and, where the system has such addresses to give, below 4 GiB.
 * @param size bytes
 * @return the zeroed memory, or null
 */
void *psiOsArenaMap(u32 size);

/** @brief Give an arena back. @param arena from psiOsArenaMap() @param size as it was asked for */
void psiOsArenaUnmap(void *arena, u32 size);

#ifdef __cplusplus
}
#endif

#endif /* PSI_OS_H */
