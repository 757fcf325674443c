# Another machine with Linux, by Debian's gcc 12 for it; its programs run in qemu, on an i386 as they are.
# PSI_MACHINE is powerpc, armhf, armel, mips, aarch64, riscv64 or i386.
set(PSI_MACHINE powerpc CACHE STRING "Machine to build for")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES PSI_MACHINE)
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR "${PSI_MACHINE}")

# machine, system, emulator
foreach(line "powerpc powerpc-linux-gnu qemu-ppc" "armhf arm-linux-gnueabihf qemu-arm" "armel arm-linux-gnueabi qemu-arm"
    "mips mips-linux-gnu qemu-mips" "aarch64 aarch64-linux-gnu qemu-aarch64" "riscv64 riscv64-linux-gnu qemu-riscv64"
    "i386 i686-linux-gnu -")
  if(line MATCHES "^${PSI_MACHINE} (.*) (.*)$")
    set(CMAKE_C_COMPILER "${CMAKE_MATCH_1}-gcc-12")
    set(CMAKE_CXX_COMPILER "${CMAKE_MATCH_1}-g++-12")
    if(CMAKE_MATCH_2 STREQUAL "-")
      # The loader of the foreign system's programs, and where it finds their libraries.
      set(CMAKE_CROSSCOMPILING_EMULATOR "/usr/${CMAKE_MATCH_1}/lib/ld-linux.so.2;--library-path;/usr/${CMAKE_MATCH_1}/lib")
    else()
      set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_MATCH_2};-L;/usr/${CMAKE_MATCH_1}")
    endif()
  endif()
endforeach()
if(PSI_MACHINE STREQUAL "riscv64")
  # Its linker shortens calls one by one, which takes half a minute for a test program, and 0.1 s without.
  set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,--no-relax")
endif()
