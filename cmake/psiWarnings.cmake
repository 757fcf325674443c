# The warnings that every target of the project is built with.
function(psi_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-align -Wformat=2 -Wundef -Wvla
    $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast -Woverloaded-virtual -Wnon-virtual-dtor>
    # GoogleTest's macros leave out their last arguments.
    $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wno-gnu-zero-variadic-macro-arguments>
    $<$<BOOL:${PSI_WERROR}>:-Werror>)
endfunction()
