# ARM without an operating system, with arm-none-eabi-g++ and no C++ library. PSI_CPU has the options of the processor:
#   cmake -S . -B build/m4 --toolchain cmake/armNoneEabiToolchain.cmake -DPSI_PLATFORM=/path/to/port \
#       -DPSI_CPU="-mcpu=cortex-m4 -mthumb"
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_C_COMPILER arm-none-eabi-gcc)
set(CMAKE_CXX_COMPILER arm-none-eabi-g++)
set(PSI_CPU "-mcpu=arm926ej-s" CACHE STRING "Options of the processor")
set(PSI_PLATFORM template CACHE STRING "Folder below platform/, or one with a psiOs.cpp of your own")
set(CMAKE_C_FLAGS_INIT "${PSI_CPU} -ffunction-sections -fdata-sections")
set(CMAKE_CXX_FLAGS_INIT "${PSI_CPU} -ffunction-sections -fdata-sections -nostdinc++")
set(CMAKE_BUILD_TYPE MinSizeRel CACHE STRING "Debug, Release, MinSizeRel")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES PSI_CPU)
