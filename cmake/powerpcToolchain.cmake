# A 32-bit big-endian machine like those that the library is for, under qemu-user. By clang: Debian's gcc for another
# machine cannot be installed beside the gcc for -m32.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR powerpc)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET powerpc-linux-gnu)
set(CMAKE_CXX_COMPILER_TARGET powerpc-linux-gnu)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-ppc -L /usr/powerpc-linux-gnu)
# clang would take the start files of -m32 first. Not position-independent: clang 14 then loses the return address of a
# function that calls no other and uses a thread_local variable of another file, as std::call_once() does.
set(CMAKE_CXX_FLAGS_INIT "-B/usr/powerpc-linux-gnu/lib -fno-pie -msecure-plt")
set(CMAKE_C_FLAGS_INIT "-B/usr/powerpc-linux-gnu/lib -fno-pie -msecure-plt")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-L/usr/powerpc-linux-gnu/lib -no-pie")
