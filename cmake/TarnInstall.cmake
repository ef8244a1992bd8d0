# Where things go under a prefix; both builds may be installed into one.
#
#   bin/                   the tools; on Windows the DLLs, too
#   include/tarnlib/       the headers, which are a C library of their own
#   lib/tarnlib/           what images are made with, and the DLLs
#   lib/cmake/tarnlib/     find_package(tarnlib)
#   share/pkgconfig/       tarnlib.pc, tarnlib-hosted.pc
#   share/doc/tarnlib/     README and docs
#   share/man/, share/bash-completion/
#
# Components: `tools` (this build's), `program` (what images are made with; the
# windows build has it), `doc`. scripts/make_packages.sh makes packages of both.
include(CMakePackageConfigHelpers)

set(tarn_docs share/doc/tarnlib)
install(TARGETS finish_image tarncc tarnreport RUNTIME DESTINATION bin COMPONENT tools)
install(FILES README.md DESTINATION ${tarn_docs} COMPONENT doc)
install(DIRECTORY docs/ DESTINATION ${tarn_docs}/docs COMPONENT doc)
install(DIRECTORY examples/ DESTINATION ${tarn_docs}/examples COMPONENT doc
  FILES_MATCHING PATTERN "*.c" PATTERN "*.f90" PATTERN "*.h")

if(NOT WIN32)
  install(TARGETS tarnrun RUNTIME DESTINATION bin COMPONENT tools)
  install(FILES tools/tarnrun/tarnrun-gdb.py DESTINATION share/tarnlib COMPONENT tools)
  include(TarnManuals)
  foreach(tool tarnrun tarncc finish_image tarnreport)
    tarn_add_manual(${tool})
    install(FILES packaging/completion RENAME ${tool}
      DESTINATION share/bash-completion/completions COMPONENT tools)
  endforeach()
  return()
endif()

set(stripped_dlls ${TARN_STRIPPED}/TARNLIBC64.DLL ${TARN_STRIPPED}/PANEVIEW64.DLL)
install(FILES ${stripped_dlls} DESTINATION bin COMPONENT tools)
install(FILES ${stripped_dlls} ${TARN_PROGRAM_IMPORT} cmake/program_flags cmake/program_flags_cpp
  cmake/hosted_flags cmake/fortran_flags cmake/legacy_flags ${TARN_HOSTED_PARTS} ${TARN_FORTRAN_PART}
  DESTINATION lib/tarnlib COMPONENT program)
install(FILES ${TARN_PROGRAM_START} DESTINATION lib/tarnlib RENAME program_start.o
  COMPONENT program)
install(FILES ${TARN_HOSTED_TRAPS} DESTINATION lib/tarnlib RENAME hosted_traps.o
  COMPONENT program)
install(FILES $<TARGET_OBJECTS:tarn_report> DESTINATION lib/tarnlib RENAME tarnreport.o
  COMPONENT program)
install(FILES ${CMAKE_BINARY_DIR}/libtarnreport.a DESTINATION lib/tarnlib COMPONENT program)
install(FILES ${TARN_FORTRAN_MODULES}/tarnlib.mod DESTINATION lib/tarnlib/modules COMPONENT program)
install(TARGETS tarn_program_support ARCHIVE DESTINATION lib/tarnlib COMPONENT program)
install(DIRECTORY include/ DESTINATION include/tarnlib COMPONENT program)
install(DIRECTORY crt/include/ DESTINATION include/tarnlib/hosted COMPONENT program)

set(tarn_package lib/cmake/tarnlib)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/tarnlibConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES cmake/tarnlibConfig.cmake ${CMAKE_BINARY_DIR}/tarnlibConfigVersion.cmake
  cmake/TarnProgram.cmake cmake/TarnReport.cmake cmake/mingw-w64.cmake cmake/hosted.cmake
  DESTINATION ${tarn_package} COMPONENT program)
foreach(name tarnlib tarnlib-hosted)
  configure_file(cmake/${name}.pc.in ${CMAKE_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/${name}.pc DESTINATION share/pkgconfig COMPONENT program)
endforeach()
