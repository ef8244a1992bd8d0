# What each image brings of its own: the interpreter of start-up scripts, and
# the routines that the compiler calls of itself. Sets the variables by
# which TarnProgram.cmake finds them and the rest in this build.
set(tarn_startup ${CMAKE_SOURCE_DIR}/src/startup)
set_source_files_properties(${tarn_startup}/startup_script.S ${tarn_startup}/program_copy.S ${tarn_startup}/program_fill.S
  PROPERTIES OBJECT_DEPENDS ${CMAKE_SOURCE_DIR}/src/platform/assembly.h)
set_source_files_properties(${tarn_startup}/program_support/manifest.S
  PROPERTIES OBJECT_DEPENDS ${tarn_startup}/program_support/program.manifest)
add_library(tarn_program_start OBJECT ${tarn_startup}/startup_script.S)
add_library(tarn_program_support STATIC ${tarn_startup}/program_copy.S ${tarn_startup}/program_fill.S
  ${tarn_startup}/program_support/manifest.S
  ${tarn_startup}/program_support/run.cpp ${tarn_startup}/program_support/end.cpp
  ${tarn_startup}/program_support/cxx.cpp ${tarn_startup}/program_support/threads.cpp
  ${tarn_startup}/program_support/thread_end.cpp)
target_link_libraries(tarn_program_support PRIVATE tarn_program_flags)
target_compile_options(tarn_program_support PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-g0>)
set_target_properties(tarn_program_support PROPERTIES OUTPUT_NAME program_support)
# By the names of section symbols finish_image knows the routines that are the run-time's.
set(TARN_RUN_TIME_MARK --redefine-sym .text=.text.tarn)
foreach(kind unlikely startup exit)
  list(APPEND TARN_RUN_TIME_MARK --redefine-sym .text.${kind}=.text.tarn.${kind})
endforeach()
add_custom_command(TARGET tarn_program_support POST_BUILD
  COMMAND ${CMAKE_OBJCOPY} ${TARN_RUN_TIME_MARK} $<TARGET_FILE:tarn_program_support> VERBATIM)
foreach(part tarn_program_start tarn_program_support)
  target_include_directories(${part} PRIVATE ${CMAKE_SOURCE_DIR}/src)
endforeach()

set(TARN_PROGRAM_INCLUDE ${CMAKE_SOURCE_DIR}/include)
set(TARN_PROGRAM_FLAGS ${CMAKE_SOURCE_DIR}/cmake)
set(TARN_PROGRAM_START $<TARGET_OBJECTS:tarn_program_start>)
set(TARN_PROGRAM_SUPPORT $<TARGET_FILE:tarn_program_support>)
set(TARN_PROGRAM_IMPORT ${CMAKE_BINARY_DIR}/libtarnlibc64.dll.a)
set(TARN_PROGRAM_DLLS ${CMAKE_BINARY_DIR}/TARNLIBC64.DLL ${CMAKE_BINARY_DIR}/PANEVIEW64.DLL)
set(TARN_PROGRAM_WAITS tarn_dll paneview_dll tarn_crt)
set(TARN_FORTRAN_WAITS tarn_fortran_module)
set(TARN_FINISH_IMAGE ${TARN_HOST_BUILD}/tools/finish_image/finish_image)
# What hosted programs are linked with in addition; crt/ makes them.
set(TARN_HOSTED_PARTS ${CMAKE_BINARY_DIR}/libtarncrt.a ${CMAKE_BINARY_DIR}/libtarnhosted.a)
set(TARN_HOSTED_TRAPS $<TARGET_OBJECTS:tarn_hosted_traps>)
set(TARN_HOSTED_INCLUDE ${CMAKE_SOURCE_DIR}/crt/include)
set(TARN_FORTRAN_PART ${CMAKE_BINARY_DIR}/libtarnfortran.a)
set(TARN_FORTRAN_MODULES ${CMAKE_BINARY_DIR}/fortran_modules)
include(TarnProgram)
set(TARN_REPORT_OBJECT $<TARGET_OBJECTS:tarn_report>)
include(TarnReport)
