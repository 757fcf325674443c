/**
 * @file sysSymTbl.h
 * @brief The kernel's own symbol table; see vxWorks.h.
 */
#ifndef SYSSYMTBL_H
#define SYSSYMTBL_H

#include "symLib.h"

#ifdef __cplusplus
extern "C" {
#endif

extern SYMTAB_ID sysSymTbl;

#ifdef __cplusplus
}
#endif

#endif /* SYSSYMTBL_H */
