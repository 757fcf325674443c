/**
 * @file vxWorks.h
 * @brief Just so much of the kernel's header as the library uses, to compile the library's VxWorks side on a host.
 *
 * Declarations only, with the types that the kernel's reference manual gives.
 */
#ifndef VXWORKS_H
#define VXWORKS_H

#include <stddef.h>

typedef int STATUS;
typedef unsigned short UINT16;

#define OK           0
#define ERROR        (-1)
#define WAIT_FOREVER (-1)
#define NO_WAIT      0

#endif /* VXWORKS_H */
