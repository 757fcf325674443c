# VxWorks 7, a kernel module (DKM) by the vendor's own compilers and against the kernel's own headers: for a shell in which
# the SDK or the workspace has set up wr-c++ and WIND_CC_SYSROOT. It builds libpsi.a. The compilers of 6.9 do not know
# C++17; there an object by a modern cross compiler (scripts/vxworks-object) is the way.
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
find_program(PSI_VXWORKS_CXX NAMES wr-c++ REQUIRED)
find_program(PSI_VXWORKS_CC NAMES wr-cc REQUIRED)
set(CMAKE_CXX_COMPILER "${PSI_VXWORKS_CXX}")
set(CMAKE_C_COMPILER "${PSI_VXWORKS_CC}")
set(PSI_PLATFORM vxworks CACHE STRING "Folder below platform/")
# symFindByName() is deprecated there.
set(CMAKE_C_FLAGS_INIT "-dkm")
set(CMAKE_CXX_FLAGS_INIT "-dkm -fno-asynchronous-unwind-tables -DPSI_VXWORKS_SYMFIND")
set(CMAKE_BUILD_TYPE Release CACHE STRING "Debug, Release, MinSizeRel")
