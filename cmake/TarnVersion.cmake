# tarn_version_resource(dll description result): an object with the version of
# this project for `dll`, in the variable `result`.
function(tarn_version_resource tarn_dll tarn_description result)
  set(script ${CMAKE_CURRENT_BINARY_DIR}/${tarn_dll}.rc)
  set(object ${CMAKE_CURRENT_BINARY_DIR}/${tarn_dll}.version.o)
  configure_file(${PROJECT_SOURCE_DIR}/src/platform/windows/version.rc.in ${script} @ONLY)
  add_custom_command(OUTPUT ${object}
    COMMAND ${CMAKE_RC_COMPILER} -O coff -o ${object} ${script}
    DEPENDS ${script}
    VERBATIM)
  set(${result} ${object} PARENT_SCOPE)
endfunction()
