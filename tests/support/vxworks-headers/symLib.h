/**
 * @file symLib.h
 * @brief The kernel's symbol tables; see vxWorks.h.
 */
#ifndef SYMLIB_H
#define SYMLIB_H

#include "vxWorks.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct symtab *SYMTAB_ID;
typedef unsigned char SYM_TYPE;

STATUS symFindByName(SYMTAB_ID symTblId, char *name, char **pValue, SYM_TYPE *pType);

#ifdef __cplusplus
}
#endif

#endif /* SYMLIB_H */
