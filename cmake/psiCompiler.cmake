# How what stands around the library is compiled, which is most of a build.

# psi_find_compiler(OUT NAME): the path of the compiler of that name, or nothing where NAME is empty or not installed.
function(psi_find_compiler out name)
  set(path path-NOTFOUND)
  if(NOT name STREQUAL "")
    find_program(path "${name}" NO_CACHE)
  endif()
  if(NOT path)
    set(path "")
  endif()
  set(${out} "${path}" PARENT_SCOPE)
endfunction()

# psi_compiler(NAME): from here on C++ of this folder and those below it is compiled by the clang++ of that name, which for
# what is not optimised takes half of gcc's time. Without it nothing changes. What CMake knows of a compiler are variables
# of a folder.
macro(psi_compiler name)
  psi_find_compiler(psi_compiler_path "${name}")
  if(psi_compiler_path)
    execute_process(COMMAND "${psi_compiler_path}" -dumpversion
      OUTPUT_VARIABLE CMAKE_CXX_COMPILER_VERSION OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    set(CMAKE_CXX_COMPILER "${psi_compiler_path}")
    set(CMAKE_CXX_COMPILER_ID Clang)
    set(CMAKE_CXX_COMPILER_FRONTEND_VARIANT GNU)
    include(Compiler/Clang-CXX)
    set(CMAKE_CXX_STANDARD_DEFAULT 14) # so that -std is written
    add_link_options(-fuse-ld=gold) # as with the sanitizers
  endif()
endmacro()

# psi_hosted_folder(): a folder of what stands around the library.
macro(psi_hosted_folder)
  psi_compiler("${PSI_HOSTED_CXX_COMPILER}")
  add_compile_options(${PSI_HOSTED_FLAGS})
endmacro()

# psi_optimise_little(TARGET): what it waits for is elsewhere; here -O2, and with sanitizers -O1, would only add to the
# compiler's time.
function(psi_optimise_little target)
  if(PSI_SANITIZE)
    target_compile_options(${target} PRIVATE -O0)
  elseif(PSI_HOSTED_FLAGS STREQUAL "")
    target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-O1>)
  endif()
endfunction()
