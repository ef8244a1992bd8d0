# Program images: compiled by the cross compiler against include/, linked
# without its C run-time, finished.
#
#   tarn_add_program(name [DLL] SOURCES file... [LINK dll...] [FINISH option...])
#
# makes programs/NAME.exe, or programs/NAME.dll with DLL, in the build folder,
# and beside it NAME.unfinished.exe, what the linker made. LINK names DLLs that
# this function made before; a DLL exports what it declares dllexport. FINISH
# gives options to finish_image. The DLLs of the library stand in the same
# folder, where Windows, Wine and tarnrun look for them. The target is
# tarn_program_NAME.

set(TARN_PROGRAMS ${CMAKE_BINARY_DIR}/programs)
set(TARN_FINISH_IMAGE ${TARN_HOST_BUILD}/tools/finish_image/finish_image)

# How a source of a program is compiled.
add_library(tarn_program_flags INTERFACE)
target_include_directories(tarn_program_flags INTERFACE ${CMAKE_SOURCE_DIR}/include)
target_compile_options(tarn_program_flags INTERFACE
  $<$<COMPILE_LANGUAGE:C,CXX>:
  -Wall -Wextra -g
  # The library is the C run-time: only its headers, and its own meaning of
  # each name (its puts, for one, adds no line feed).
  -nostdinc -fno-builtin
  # The one prologue that the traceback reads: a single subtraction from rsp as
  # the first act of a routine, no pushes. -O1 does not move code in front of
  # it. A routine without a frame has none, and the traceback cannot step over
  # it; only one that calls nothing and keeps nothing in memory is so small.
  -O1 -fomit-frame-pointer -fno-shrink-wrap -fno-optimize-sibling-calls
  -ffixed-rbx -ffixed-rbp -ffixed-rsi -ffixed-rdi
  -ffixed-r12 -ffixed-r13 -ffixed-r14 -ffixed-r15
  # Nothing that a C or C++ run-time would have to supply.
  -fno-stack-protector>
  $<$<COMPILE_LANGUAGE:CXX>:-nostdinc++ -fno-exceptions -fno-rtti -fno-threadsafe-statics
  -fno-use-cxa-atexit>)

# What each image brings of its own: the interpreter of start-up scripts, and
# the two routines that the compiler calls of itself.
set(tarn_startup ${CMAKE_SOURCE_DIR}/src/startup)
set_source_files_properties(${tarn_startup}/startup_script.S ${tarn_startup}/program_memory.S
  PROPERTIES OBJECT_DEPENDS ${CMAKE_SOURCE_DIR}/src/platform/assembly.h)
add_library(tarn_program_start OBJECT ${tarn_startup}/startup_script.S)
add_library(tarn_program_memory STATIC ${tarn_startup}/program_memory.S)
foreach(part tarn_program_start tarn_program_memory)
  target_include_directories(${part} PRIVATE ${CMAKE_SOURCE_DIR}/src)
endforeach()

foreach(dll TARNLIBC64.DLL PANEVIEW64.DLL)
  add_custom_command(OUTPUT ${TARN_PROGRAMS}/${dll}
    COMMAND ${CMAKE_COMMAND} -E copy ${CMAKE_BINARY_DIR}/${dll} ${TARN_PROGRAMS}/${dll}
    DEPENDS ${CMAKE_BINARY_DIR}/${dll})
endforeach()
add_custom_target(tarn_program_dlls ALL
  DEPENDS ${TARN_PROGRAMS}/TARNLIBC64.DLL ${TARN_PROGRAMS}/PANEVIEW64.DLL)
add_dependencies(tarn_program_dlls tarn_dll paneview_dll)

function(tarn_add_program name)
  cmake_parse_arguments(PARSE_ARGV 1 program "DLL" "" "SOURCES;LINK;FINISH")
  if(program_UNPARSED_ARGUMENTS OR NOT program_SOURCES)
    message(FATAL_ERROR "tarn_add_program(${name} [DLL] SOURCES file... [LINK dll...] [FINISH option...])")
  endif()

  set(code tarn_program_${name}_code)
  add_library(${code} OBJECT ${program_SOURCES})
  target_link_libraries(${code} PRIVATE tarn_program_flags)

  set(import_libraries ${CMAKE_BINARY_DIR}/libtarnlibc64.dll.a)
  set(waits_for tarn_program_dlls)
  foreach(dll ${program_LINK})
    list(APPEND import_libraries ${TARN_PROGRAMS}/lib${dll}.dll.a)
    list(APPEND waits_for tarn_program_${dll})
  endforeach()

  set(made)
  set(kind exe)
  set(link_options)
  set(finish_options)
  if(program_DLL)
    set(kind dll)
    set(made ${TARN_PROGRAMS}/lib${name}.dll.a)
    # The name under which others import it is not that of the linker's output.
    set(definition ${CMAKE_CURRENT_BINARY_DIR}/${name}.def)
    file(CONFIGURE OUTPUT ${definition} CONTENT "LIBRARY \"${name}.dll\"\n")
    # Without the second option a DLL that declares no exports would export
    # everything, the interpreter included.
    set(link_options -shared -Wl,--exclude-all-symbols -Wl,--out-implib,${made} ${definition})
    set(finish_options --dll)
  endif()
  set(image ${TARN_PROGRAMS}/${name}.${kind})
  set(unfinished ${TARN_PROGRAMS}/${name}.unfinished.${kind})
  add_custom_command(OUTPUT ${image} ${unfinished} ${made}
    COMMAND ${CMAKE_C_COMPILER} -nostdlib ${link_options}
            -Wl,-e,__BrackenStartup -Wl,--dynamicbase -Wl,--disable-auto-import
            $<TARGET_OBJECTS:tarn_program_start> $<TARGET_OBJECTS:${code}>
            ${import_libraries} $<TARGET_FILE:tarn_program_memory> -lkernel32 -o ${unfinished}
    COMMAND ${TARN_FINISH_IMAGE} ${finish_options} ${program_FINISH} ${unfinished} -o ${image}
    DEPENDS ${code} $<TARGET_OBJECTS:${code}> tarn_program_start
            $<TARGET_OBJECTS:tarn_program_start> tarn_program_memory
            ${import_libraries} ${TARN_FINISH_IMAGE}
    COMMAND_EXPAND_LISTS VERBATIM)
  add_custom_target(tarn_program_${name} ALL DEPENDS ${image})
  add_dependencies(tarn_program_${name} ${waits_for})
endfunction()
