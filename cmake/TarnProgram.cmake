# Program images: compiled by the cross compiler against include/, linked
# without its C run-time, finished.
#
#   tarn_add_program(name [DLL] [HOSTED | SUITE] [LEGACY] [TRAP] SOURCES file... [LINK dll...]
#                    [FINISH option...])
#
# makes programs/NAME.exe, or programs/NAME.dll with DLL, in the build folder,
# and beside it NAME.unfinished.exe, what the linker made. LINK names DLLs that
# this function made before; a DLL exports what it declares dllexport. FINISH
# passes options to finish_image. HOSTED is for programs in ISO C and C++: compiled
# against the compiler's own headers, linked with the whole of the standard libraries.
# C++ sources are hosted unless SUITE says that they do without these. A program with
# a Fortran source is hosted; its project enables the language Fortran. LEGACY is for
# those of before Fortran 90 (legacy_flags). With TRAP invalid operations, divisions by zero
# and overflows trap in a hosted program, too, as they do in others.
# The DLLs of the library are in the same
# folder, where Windows, Wine and tarnrun look for them. The target is
# tarn_program_NAME.
#
# Used in this tree, and by find_package(tarnlib) from others. Before it is
# included these are set:
#   TARN_PROGRAM_INCLUDE   the headers
#   TARN_PROGRAM_FLAGS     the folder of the two files of flags
#   TARN_PROGRAM_START     the start-up object, TARN_PROGRAM_SUPPORT the library
#                          of what the compiler calls of itself
#   TARN_PROGRAM_IMPORT    the import library
#   TARN_PROGRAM_DLLS      the two DLLs
#   TARN_HOSTED_PARTS      the archive of hosted programs, and its import library
#   TARN_HOSTED_TRAPS      the object of hosted programs with TRAP
#   TARN_HOSTED_INCLUDE    what the cross compiler lacks of standard headers
#   TARN_FORTRAN_PART      the archive of Fortran programs
#   TARN_FORTRAN_MODULES   the folder of tarnlib.mod
#   TARN_PROGRAM_WAITS     targets that make these, if any
#   TARN_FORTRAN_WAITS     those that Fortran sources are compiled after
#   TARN_FINISH_IMAGE      the finisher

set(TARN_PROGRAMS ${CMAKE_BINARY_DIR}/programs)
if(TARGET tarn_program_flags) # by another folder of the project
  return()
endif()

# How a source of a program is compiled; tarncc reads the same files. In them:
# - The library is the C run-time: only its headers and after them the compiler's
#   own, and its own meaning of each name (its puts, for one, adds no line feed).
# - The one prologue that the traceback reads: a single subtraction from rsp as
#   the first act of a routine, no pushes. -O1 does not move code before
#   it. A routine without a frame has none, and the traceback steps over it by
#   its unwind data.
# - Nothing that a C or C++ run-time would have to supply, but what the program
#   support library has.
# Of legacy_flags: in programs of before Fortran 90, locals keep their values and begin as
# zero; the language is as its old compilers extended it, structures, Hollerith data and D
# lines included; arguments are storage, whatever their types; COMMON is one storage sequence,
# without gaps; an integer that overflows wraps around, in constants, too.
# A source whose inline assembly names rbx, rsi or rdi needs -fcall-saved-rbx and
# its like, in its COMPILE_OPTIONS; tarncc adds it by itself.
function(tarn_read_flags file result)
  file(READ ${TARN_PROGRAM_FLAGS}/${file} text)
  separate_arguments(flags UNIX_COMMAND "${text}")
  set(${result} ${flags} PARENT_SCOPE)
endfunction()
tarn_read_flags(program_flags tarn_flags)
tarn_read_flags(program_flags_cpp tarn_flags_cpp)
add_library(tarn_program_flags INTERFACE)
target_include_directories(tarn_program_flags INTERFACE ${TARN_PROGRAM_INCLUDE})
target_compile_options(tarn_program_flags INTERFACE
  "$<$<COMPILE_LANGUAGE:C,CXX>:${tarn_flags}>" "$<$<COMPILE_LANGUAGE:CXX>:${tarn_flags_cpp}>")

tarn_read_flags(hosted_flags tarn_flags_hosted)
tarn_read_flags(fortran_flags tarn_flags_fortran)
add_library(tarn_hosted_flags INTERFACE)
target_compile_options(tarn_hosted_flags INTERFACE
  "$<$<COMPILE_LANGUAGE:C,CXX>:${tarn_flags_hosted};-isystem${TARN_HOSTED_INCLUDE};-idirafter${TARN_PROGRAM_INCLUDE}>"
  "$<$<COMPILE_LANGUAGE:Fortran>:${tarn_flags_fortran};-I${TARN_FORTRAN_MODULES}>")
tarn_read_flags(legacy_flags tarn_flags_legacy)
add_library(tarn_legacy_flags INTERFACE)
target_compile_options(tarn_legacy_flags INTERFACE
  "$<$<COMPILE_LANGUAGE:Fortran>:${tarn_flags_legacy}>")

set(tarn_copies)
foreach(dll ${TARN_PROGRAM_DLLS})
  get_filename_component(dll_name ${dll} NAME)
  add_custom_command(OUTPUT ${TARN_PROGRAMS}/${dll_name}
    COMMAND ${CMAKE_COMMAND} -E copy ${dll} ${TARN_PROGRAMS}/${dll_name}
    DEPENDS ${dll})
  list(APPEND tarn_copies ${TARN_PROGRAMS}/${dll_name})
endforeach()
add_custom_target(tarn_program_dlls ALL DEPENDS ${tarn_copies})
if(TARN_PROGRAM_WAITS)
  add_dependencies(tarn_program_dlls ${TARN_PROGRAM_WAITS})
endif()

function(tarn_add_program name)
  cmake_parse_arguments(PARSE_ARGV 1 program "DLL;HOSTED;SUITE;LEGACY;TRAP" "" "SOURCES;LINK;FINISH")
  if(program_UNPARSED_ARGUMENTS OR NOT program_SOURCES)
    set(wrong "no SOURCES")
    if(program_UNPARSED_ARGUMENTS)
      set(wrong "unknown argument ${program_UNPARSED_ARGUMENTS}")
    endif()
    message(FATAL_ERROR "tarn_add_program(${name}): ${wrong}; it takes [DLL] [HOSTED | SUITE] [LEGACY] [TRAP] SOURCES file... [LINK dll...] [FINISH option...]")
  endif()
  get_filename_component(compiler ${CMAKE_C_COMPILER} NAME_WE)
  if(compiler STREQUAL tarncc)
    message(FATAL_ERROR "tarn_add_program(${name}): the compiler is tarncc: use add_executable with it, or configure with the toolchain file mingw-w64.cmake")
  endif()

  set(cpp ${program_SOURCES})
  list(FILTER cpp INCLUDE REGEX "\\.(cpp|cc|cxx|cp|C|CPP|ii)$")
  if(cpp AND NOT program_SUITE)
    set(program_HOSTED TRUE)
    set(program_CPP TRUE)
  endif()
  set(c ${program_SOURCES})
  list(FILTER c INCLUDE REGEX "\\.c$")
  set(fortran ${program_SOURCES})
  list(FILTER fortran INCLUDE REGEX "\\.([fF]|[fF][oO][rR]|[fF][tT][nN]|[fF]90|[fF]95|[fF]03|[fF]08)$")
  # CMake leaves out the sources of a language that the project has not enabled.
  get_property(languages GLOBAL PROPERTY ENABLED_LANGUAGES)
  foreach(sources_of IN ITEMS "C;${c}" "CXX;${cpp}" "Fortran;${fortran}")
    list(POP_FRONT sources_of language)
    if(sources_of AND NOT language IN_LIST languages)
      list(GET sources_of 0 source)
      message(FATAL_ERROR "tarn_add_program(${name}): ${source} needs the language ${language}; name it in project()")
    endif()
  endforeach()
  set(code tarn_program_${name}_code)
  add_library(${code} OBJECT ${program_SOURCES})
  set(standard_libraries)
  set(hosted_libraries)
  set(auto_import -Wl,--disable-auto-import)
  set(linker ${CMAKE_C_COMPILER})
  set(link_options)
  if(program_HOSTED OR fortran)
    target_link_libraries(${code} PRIVATE tarn_hosted_flags)
    set(auto_import -Wl,--enable-auto-import)
    set(import_libraries ${TARN_HOSTED_PARTS})
    set(standard_libraries -Wl,-Bstatic -lstdc++ ${TARN_HOSTED_PARTS})
    # What libssp and libstdc++ have inside them would be found there first; and only after the
    # archives does the linker know whether data is imported that is not declared so.
    list(PREPEND standard_libraries -Wl,-u,__chk_fail,-u,_pei386_runtime_relocator)
    if(program_CPP)
      list(PREPEND standard_libraries -Wl,-u,tarn_cpp_ends)
    endif()
    list(APPEND program_FINISH --call-lines)
    set(hosted_libraries -lssp -lmingwex -lpthread -lgcc_eh -lgcov
      $<$<IN_LIST:-fopenmp,$<TARGET_PROPERTY:${code},COMPILE_OPTIONS>>:-lgomp>)
    if(program_TRAP)
      list(PREPEND import_libraries ${TARN_HOSTED_TRAPS})
    endif()
    if(fortran)
      set(linker ${CMAKE_Fortran_COMPILER})
      if(program_LEGACY) # before what the project adds to the target
        target_compile_options(${code} PRIVATE
          $<TARGET_PROPERTY:tarn_legacy_flags,INTERFACE_COMPILE_OPTIONS>)
      endif()
      if(TARN_FORTRAN_WAITS)
        add_dependencies(${code} ${TARN_FORTRAN_WAITS})
      endif()
      set_target_properties(${code} PROPERTIES
        Fortran_MODULE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/${code}.modules)
      # The second option brings the members of TARN_FORTRAN_PART, which only the
      # compiler's own library may ask for.
      set(link_options -Wl,--stack,67108864 -Wl,-u,_gfortran_runtime_error
        -Wl,-u,_gfortrani_open_external)
      list(APPEND import_libraries ${TARN_FORTRAN_PART})
      list(APPEND hosted_libraries -lgfortran -lquadmath)
    endif()
  elseif(program_TRAP)
    message(FATAL_ERROR "tarn_add_program(${name}): TRAP goes with HOSTED: others trap anyway")
  else()
    target_link_libraries(${code} PRIVATE tarn_program_flags)
    set(import_libraries ${TARN_PROGRAM_IMPORT})
  endif()
  set(waits_for tarn_program_dlls)
  foreach(dll ${program_LINK})
    list(APPEND import_libraries ${TARN_PROGRAMS}/lib${dll}.dll.a)
    list(APPEND waits_for tarn_program_${dll})
    if(fortran)
      add_dependencies(${code} tarn_program_${dll}_code)
      target_include_directories(${code} PRIVATE
        $<TARGET_PROPERTY:tarn_program_${dll}_code,Fortran_MODULE_DIRECTORY>)
    endif()
  endforeach()

  set(made)
  set(kind exe)
  set(finish_options)
  if(program_DLL)
    set(kind dll)
    set(made ${TARN_PROGRAMS}/lib${name}.dll.a)
    # The name under which others import it is not that of the linker's output.
    set(definition ${CMAKE_CURRENT_BINARY_DIR}/${name}.def)
    file(CONFIGURE OUTPUT ${definition} CONTENT
      "LIBRARY \"${name}.dll\"\nEXPORTS\ntarn_end_of_image PRIVATE\n")
    # Without the second option a DLL that declares no exports would export
    # everything, the interpreter included.
    list(APPEND link_options -shared -Wl,--exclude-all-symbols -Wl,--out-implib,${made} ${definition})
    set(finish_options --dll)
  endif()
  set(image ${TARN_PROGRAMS}/${name}.${kind})
  set(unfinished ${TARN_PROGRAMS}/${name}.unfinished.${kind})
  add_custom_command(OUTPUT ${image} ${unfinished} ${made}
    COMMAND ${linker} -nostdlib ${link_options}
            -Wl,-e,__BrackenStartup -Wl,--dynamicbase ${auto_import}
            ${TARN_PROGRAM_START} $<TARGET_OBJECTS:${code}>
            -Wl,--start-group ${import_libraries} ${standard_libraries} ${TARN_PROGRAM_SUPPORT}
            ${hosted_libraries} -lgcc -Wl,--end-group -lkernel32 -ladvapi32 -lshell32 -o ${unfinished}
    COMMAND ${TARN_FINISH_IMAGE} ${finish_options} ${program_FINISH} ${unfinished} -o ${image}
    DEPENDS ${code} $<TARGET_OBJECTS:${code}> ${TARN_PROGRAM_START} ${TARN_PROGRAM_SUPPORT}
            ${import_libraries} ${TARN_FINISH_IMAGE}
    COMMAND_EXPAND_LISTS VERBATIM)
  add_custom_target(tarn_program_${name} ALL DEPENDS ${image})
  add_dependencies(tarn_program_${name} ${waits_for})
endfunction()
