# find_package(tarnlib): defines tarn_add_program and tarn_add_report, which
# TarnProgram.cmake and TarnReport.cmake beside this file document, and
# TARN_PROGRAM_DLLS, the two DLLs that programs need beside them. Images are Windows
# images on every machine: configure with a toolchain file of this folder, too.
if(NOT WIN32)
  message(FATAL_ERROR "tarnlib makes Windows images; configure with "
    "-DCMAKE_TOOLCHAIN_FILE=${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake")
endif()
get_filename_component(tarn_prefix ${CMAKE_CURRENT_LIST_DIR}/../../.. ABSOLUTE)
set(tarn_parts ${tarn_prefix}/lib/tarnlib)
set(TARN_PROGRAM_INCLUDE ${tarn_prefix}/include/tarnlib)
set(TARN_HOSTED_INCLUDE ${TARN_PROGRAM_INCLUDE}/hosted)
set(TARN_PROGRAM_FLAGS ${tarn_parts})
set(TARN_PROGRAM_START ${tarn_parts}/program_start.o)
set(TARN_PROGRAM_SUPPORT ${tarn_parts}/libprogram_support.a)
set(TARN_PROGRAM_IMPORT ${tarn_parts}/libtarnlibc64.dll.a)
set(TARN_HOSTED_PARTS ${tarn_parts}/libtarncrt.a ${tarn_parts}/libtarnhosted.a)
set(TARN_FORTRAN_PART ${tarn_parts}/libtarnfortran.a)
set(TARN_FORTRAN_MODULES ${tarn_parts}/modules)
set(TARN_PROGRAM_DLLS ${tarn_parts}/TARNLIBC64.DLL ${tarn_parts}/PANEVIEW64.DLL)
set(TARN_REPORT_OBJECT ${tarn_parts}/tarnreport.o)
set(TARN_PROGRAM_WAITS "")
set(TARN_FORTRAN_WAITS "")
set(TARN_FINISH_IMAGE ${tarn_prefix}/bin/finish_image)
if(CMAKE_HOST_WIN32)
  set(TARN_FINISH_IMAGE ${tarn_prefix}/bin/finish_image.exe)
endif()
include(${CMAKE_CURRENT_LIST_DIR}/TarnProgram.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/TarnReport.cmake)
