# The SLATEC routines of the special functions: sets TARN_SLATEC_SOURCES to
# what the library is built with, and TARN_SLATEC_ROUTINES to the routines'
# names, or to nothing if they are not there.
#
# scripts/fetch_slatec.sh puts the published Fortran into build/slatec. Each
# routine is compiled to assembly text with the Microsoft convention on both
# targets, so that the library's other routines call it directly, and
# assembled after src/numerics/slatec_names.h, which renames all that it
# defines or calls. With TARN_WITHOUT_SLATEC the routines are
# src/numerics/slatec_missing.cpp; otherwise the configuration fails if one is missing.
if("$ENV{TARN_WITHOUT_SLATEC}" STREQUAL "1")
  set(slatec_left_out ON)
else()
  set(slatec_left_out OFF)
endif()
option(TARN_WITHOUT_SLATEC "Build without the gamma and Bessel functions" ${slatec_left_out})
set(TARN_SLATEC_CACHE ${PROJECT_SOURCE_DIR}/build/slatec CACHE PATH
    "Where scripts/fetch_slatec.sh put the published routines")
set(slatec_room ${PROJECT_SOURCE_DIR}/src/numerics)
set(slatec_missing ${slatec_room}/slatec_missing.cpp)
set(slatec_support ${slatec_room}/slatec_support.cpp)
set(slatec_names ${slatec_room}/slatec_names.h)

file(STRINGS ${slatec_room}/slatec_routines.txt slatec_routines)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${slatec_room}/slatec_routines.txt)

if(WIN32)
  find_program(TARN_FORTRAN NAMES ${TARN_TRIPLE}-gfortran-posix ${TARN_TRIPLE}-gfortran)
else()
  find_program(TARN_FORTRAN NAMES gfortran)
endif()

set(slatec_lacks "")
if(TARN_FUZZ)
  set(slatec_lacks "the fuzz targets do without it")
elseif(TARN_WITHOUT_SLATEC)
  set(slatec_lacks "as asked")
elseif(NOT TARN_FORTRAN)
  set(slatec_lacks "no Fortran compiler")
endif()
foreach(routine ${slatec_routines})
  if(NOT slatec_lacks AND NOT EXISTS ${TARN_SLATEC_CACHE}/${routine}.f)
    set(slatec_lacks "no published sources; scripts/fetch_slatec.sh brings them")
  endif()
endforeach()

if(slatec_lacks AND NOT TARN_FUZZ AND NOT TARN_WITHOUT_SLATEC)
  message(FATAL_ERROR "SLATEC: ${slatec_lacks}. -DTARN_WITHOUT_SLATEC=ON builds without the gamma "
                      "and Bessel functions")
endif()
if(slatec_lacks)
  get_property(slatec_said GLOBAL PROPERTY TARN_SLATEC_SAID)
  if(NOT slatec_said)  # once, though several folders ask
    set_property(GLOBAL PROPERTY TARN_SLATEC_SAID TRUE)
    message(STATUS "SLATEC left out (${slatec_lacks}): the gamma and Bessel functions raise "
                   "\"Call to missing routine\"")
  endif()
  set(TARN_SLATEC_SOURCES ${slatec_missing})
  set(TARN_SLATEC_ROUTINES "")
  return()
endif()

# Only standard intrinsics, or the compiler would take a routine such as
# DBESJ0 for its own; and no calls that the compiler invents.
set(slatec_flags -O2 -g -fdebug-prefix-map=${CMAKE_SOURCE_DIR}=. -std=f95 -w -mabi=ms -ffp-contract=off -fno-tree-loop-distribute-patterns)
set(TARN_SLATEC_SOURCES ${slatec_support})
foreach(routine ${slatec_routines})
  set(assembly ${CMAKE_CURRENT_BINARY_DIR}/slatec/${routine}.S)
  add_custom_command(OUTPUT ${assembly}
    COMMAND ${TARN_FORTRAN} ${slatec_flags} -S -o ${assembly} ${TARN_SLATEC_CACHE}/${routine}.f
    DEPENDS ${TARN_SLATEC_CACHE}/${routine}.f
    VERBATIM)
  set_source_files_properties(${assembly} PROPERTIES
    LANGUAGE ASM COMPILE_OPTIONS "-g0;-include;${slatec_names}" OBJECT_DEPENDS ${slatec_names})
  list(APPEND TARN_SLATEC_SOURCES ${assembly})
endforeach()
set(TARN_SLATEC_ROUTINES ${slatec_routines})
file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/slatec)
