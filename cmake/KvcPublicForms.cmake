# kvc_public_forms(<target> [INSTALL <form>...])
#
# For targets whose classes derive from their generated Ui:: class: their own
# headers include ui_<form>.h, so whoever includes them needs AUTOUIC's output
# folder on the include path in the build tree, and an installed header needs
# the generated one installed beside it (INSTALL names those forms).
function(kvc_public_forms target)
  cmake_parse_arguments(F "" "" "INSTALL" ${ARGN})
  get_target_property(autogen_dir ${target} AUTOGEN_BUILD_DIR)
  if(NOT autogen_dir)
    get_target_property(binary_dir ${target} BINARY_DIR)
    set(autogen_dir ${binary_dir}/${target}_autogen)
  endif()
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${autogen_dir}/include>)
  foreach(form ${F_INSTALL})
    install(FILES ${autogen_dir}/include/ui_${form}.h
            DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kivoClientLib)
  endforeach()
endfunction()
