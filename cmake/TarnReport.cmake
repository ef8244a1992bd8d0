# tarn_add_report(target [HANDLER]): the library's report for an ordinary program or DLL
# of the cross compiler, which keeps its own C run-time. docs/report-for-mingw.md has the
# whole story.
#
# A program gets tarnreport.o, the tables of its routines and lines, and the two DLLs
# beside it; it must be linked with its symbols, and compiled with -g for the lines. A
# DLL gets the tables alone, since its program reports; with HANDLER it reports itself.
#
# Before this file is included these are set:
#   TARN_REPORT_OBJECT   tarnreport.o
#   TARN_PROGRAM_DLLS    the two DLLs
#   TARN_PROGRAM_WAITS   targets that make these, if any
#   TARN_FINISH_IMAGE    the finisher
function(tarn_add_report target)
  cmake_parse_arguments(PARSE_ARGV 1 report "HANDLER" "" "")
  get_target_property(type ${target} TYPE)
  if(report_UNPARSED_ARGUMENTS OR NOT type MATCHES "^(EXECUTABLE|SHARED_LIBRARY|MODULE_LIBRARY)$")
    message(FATAL_ERROR "tarn_add_report(target [HANDLER]): the target is a program or a DLL")
  endif()
  set(copies)
  if(type STREQUAL EXECUTABLE OR report_HANDLER)
    target_link_libraries(${target} PRIVATE ${TARN_REPORT_OBJECT})
    if(TARN_PROGRAM_WAITS)
      add_dependencies(${target} ${TARN_PROGRAM_WAITS})
    endif()
    foreach(dll ${TARN_PROGRAM_DLLS})
      list(APPEND copies COMMAND ${CMAKE_COMMAND} -E copy_if_different ${dll} $<TARGET_FILE_DIR:${target}>)
    endforeach()
  endif()
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${TARN_FINISH_IMAGE} --report-only $<TARGET_FILE:${target}> ${copies} VERBATIM)
endfunction()
