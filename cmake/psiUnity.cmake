# psi_unity(TARGET [ALONE regex]): compiles the sources of a target folder by folder, each as one: most of the time goes into
# the headers of the C++ library and of JSON, and into what their templates become. ALONE are sources with tables that have
# the same name in each. With PSI_UNITY=OFF every file is compiled by itself.
function(psi_unity target)
  cmake_parse_arguments(arg "" "ALONE" "" ${ARGN})
  get_target_property(sources ${target} SOURCES)
  foreach(source IN LISTS sources)
    if(arg_ALONE AND source MATCHES "${arg_ALONE}")
      continue()
    endif()
    get_filename_component(folder "${source}" DIRECTORY)
    string(MAKE_C_IDENTIFIER "in_${folder}" group)
    set_source_files_properties("${source}" PROPERTIES UNITY_GROUP "${group}")
  endforeach()
  # gcc takes classes of an included source for a header's.
  target_compile_options(${target} PRIVATE
    $<$<AND:$<BOOL:${PSI_UNITY}>,$<COMPILE_LANG_AND_ID:CXX,GNU>>:-Wno-subobject-linkage>)
  set_target_properties(${target} PROPERTIES UNITY_BUILD ${PSI_UNITY} UNITY_BUILD_MODE GROUP)
endfunction()
