# PowerPC kernels from 5.5 on, big-endian, 32 bits, with or without a floating-point unit.
set(CMAKE_SYSTEM_PROCESSOR powerpc)
set(psi_compilers powerpc-linux-gnu-g++ powerpc-linux-gnu-g++-12)
# Calls reach the whole address space, and no small-data area is needed, which the kernel has for itself.
set(psi_flags -mcpu=powerpc -mlongcall -mno-pltseq -msdata=none -mno-altivec -mno-vsx)
# -Os saves registers by the machine's own instruction, not by routines of libgcc.
list(APPEND psi_flags -mmultiple)
# The compiler warns that a function type among template arguments does not carry the long call; calls of a pointer are long.
list(APPEND psi_flags -Wno-ignored-attributes)
# A task may run without the floating-point unit, so no register of it is used. -msoft-float would do the same, but leave
# out the instruction that tells the kernel's printf() not to save them.
foreach(register RANGE 31)
  list(APPEND psi_flags -ffixed-fr${register})
endforeach()
include("${CMAKE_CURRENT_LIST_DIR}/kernel.cmake")
