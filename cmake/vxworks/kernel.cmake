# What the kernels of every machine have in common, for a toolchain file that has set
#   psi_compilers  the modern cross compilers for C++17 that serve, the best one first
#   psi_flags      what they need for code that runs in the kernel of that machine
#
# One relocatable object comes of it (target psi_object). It is compiled against platform/vxworks/headers/ and the
# compiler's own <stddef.h>, <stdint.h> and <stdarg.h>, so neither the kernel's headers nor a C library is needed.
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
find_program(PSI_VXWORKS_CXX NAMES ${psi_compilers} REQUIRED)
string(REPLACE "g++" "gcc" psi_c_compiler "${PSI_VXWORKS_CXX}")
set(CMAKE_CXX_COMPILER "${PSI_VXWORKS_CXX}")
set(CMAKE_C_COMPILER "${psi_c_compiler}")

set(PSI_PLATFORM vxworks CACHE STRING "Folder below platform/")
execute_process(COMMAND "${CMAKE_CXX_COMPILER}" -print-file-name=include
  OUTPUT_VARIABLE psi_compiler_headers OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
get_filename_component(psi_headers "${CMAKE_CURRENT_LIST_DIR}/../../platform/vxworks/headers" ABSOLUTE)
list(JOIN psi_flags " " psi_flags)
# Freestanding is for the compiler's <stdint.h>; memcpy() and memset() of a few bytes are still done in place.
string(CONCAT psi_flags "${psi_flags} -ffreestanding -fbuiltin -nostdinc -isystem ${psi_headers}"
  " -isystem ${psi_headers}/libc -isystem ${psi_compiler_headers}"
  " -fno-pic -fno-pie -fno-unwind-tables -fno-asynchronous-unwind-tables -fno-stack-protector"
  " -U_FORTIFY_SOURCE -fno-jump-tables")
set(CMAKE_C_FLAGS_INIT "${psi_flags}")
set(CMAKE_CXX_FLAGS_INIT "${psi_flags} -nostdinc++")
set(CMAKE_BUILD_TYPE Release CACHE STRING "Debug, Release, MinSizeRel")
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG" CACHE STRING "")
