/**
 * @file symLib.h
 * @brief The kernel's symbol tables; see vxWorks.h.
 *
 * A kernel has symFindByName() up to 6.8 and deprecates it from 6.9 on, where symFind() takes its place. The order of
 * the fields of SYMBOL_DESC is the kernel's business: what calls symFind() is compiled with the kernel's own header.
 */
#ifndef SYMLIB_H
#define SYMLIB_H

#include "vxWorks.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct symtab *SYMTAB_ID;
typedef unsigned char SYM_TYPE;

#define SYM_FIND_BY_NAME 0x1

typedef struct {
    UINT32 mask;
    char *name;
    char *value;
    SYM_TYPE type;
} SYMBOL_DESC;

STATUS symFindByName(SYMTAB_ID symTblId, char *name, char **pValue, SYM_TYPE *pType);
STATUS symFind(SYMTAB_ID symTblId, SYMBOL_DESC *pSymbol);

#ifdef __cplusplus
}
#endif

#endif /* SYMLIB_H */
