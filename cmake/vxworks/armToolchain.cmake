# ARM kernels for ARMv5TE and later, little-endian, no floating-point unit needed.
set(CMAKE_SYSTEM_PROCESSOR arm)
set(psi_compilers arm-linux-gnueabi-g++ arm-linux-gnueabi-g++-12 arm-none-eabi-g++)
# No pairs of movw and movt and no unaligned words, whatever -march asks for; enumerations are as wide as int.
set(psi_flags -march=armv5te -marm -mfloat-abi=soft -mlong-calls -mword-relocations -mno-unaligned-access
  -fno-short-enums)
include("${CMAKE_CURRENT_LIST_DIR}/kernel.cmake")
