/**
 * @file vxWorks.h
 * @brief Just so much of the kernel's headers as the library and its demo use, under the kernel's names.
 *
 * Declarations only, with the types that the kernel's reference manual gives. First on the include path, they let a
 * modern cross compiler build the object for kernels whose own headers it does not understand, and a host build the
 * tests.
 */
#ifndef VXWORKS_H
#define VXWORKS_H

#include <stddef.h>

typedef int STATUS;
typedef unsigned short UINT16;
typedef unsigned int UINT32;
typedef unsigned long ULONG;

#define OK           0
#define ERROR        (-1)
#define WAIT_FOREVER (-1)
#define NO_WAIT      0

#endif /* VXWORKS_H */
