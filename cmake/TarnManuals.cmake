# tarn_add_manual(tool): the man page of a program, made from its --help and installed.
# Without help2man there are no pages.
find_program(TARN_HELP2MAN help2man)
function(tarn_add_manual tool)
  if(NOT TARN_HELP2MAN)
    return()
  endif()
  set(page ${CMAKE_BINARY_DIR}/man/${tool}.1)
  # Its date would be that of the build. The program is run by a shell, for which a path with
  # spaces would be two words.
  add_custom_command(OUTPUT ${page}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/man
    COMMAND ${TARN_HELP2MAN} --no-info --version-string=${PROJECT_VERSION} --source=tarnlib
            --include=${CMAKE_SOURCE_DIR}/packaging/man/${tool}.h2m
            --output=${page} ./$<TARGET_FILE_NAME:${tool}>
    COMMAND sed -i [=[/^\.TH/s/ "[^"]*[0-9][0-9][0-9][0-9]" / "" /]=] ${page}
    DEPENDS ${tool} ${CMAKE_SOURCE_DIR}/packaging/man/${tool}.h2m
    WORKING_DIRECTORY $<TARGET_FILE_DIR:${tool}> VERBATIM)
  add_custom_target(${tool}_manual ALL DEPENDS ${page})
  install(FILES ${page} DESTINATION share/man/man1 COMPONENT tools)
endfunction()
