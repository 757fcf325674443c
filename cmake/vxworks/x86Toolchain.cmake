# x86 kernels from the Pentium on, 32 bits. The kernel keeps its stack aligned to 4 bytes.
set(CMAKE_SYSTEM_PROCESSOR i586)
set(psi_compilers g++)
set(psi_flags -m32 -march=pentium -mno-80387 -mno-mmx -mno-sse -mpreferred-stack-boundary=2 -fcf-protection=none)
include("${CMAKE_CURRENT_LIST_DIR}/kernel.cmake")
