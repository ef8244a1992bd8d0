# TARNLIBC64.DLL: linked from the modules without any C run-time, then finished
# like every other image, so that its own script does its relocations.
set(export_list ${TARN_HOST_BUILD}/tools/export_list/export_list)
set(finish_image ${TARN_HOST_BUILD}/tools/finish_image/finish_image)

# The .def file: names from the host's view of the table, symbols from this
# compiler's, row by row.
set(symbols_asm ${CMAKE_CURRENT_BINARY_DIR}/export_symbols.s)
add_library(tarn_export_symbols OBJECT exports/export_symbols.cpp)
target_link_libraries(tarn_export_symbols PRIVATE tarn_library_flags)
# -fno-weak: an inline routine's address is otherwise no constant for `asm`.
target_compile_options(tarn_export_symbols PRIVATE -S -g0 -fno-weak -w)
add_custom_command(OUTPUT ${CMAKE_BINARY_DIR}/TARNLIBC64.def
  COMMAND ${export_list} --def $<TARGET_OBJECTS:tarn_export_symbols>
          > ${CMAKE_BINARY_DIR}/TARNLIBC64.def
  DEPENDS tarn_export_symbols $<TARGET_OBJECTS:tarn_export_symbols> ${export_list}
  VERBATIM)

# Space for the DLL's own script, directly after its slots: 9 bytes a
# relocation. finish_image says so if it is ever too small.
set(TARN_SCRIPT_RESERVE 65536)
add_library(tarn_dll_start OBJECT startup/startup_script.S)
target_compile_definitions(tarn_dll_start PRIVATE
  TARN_LIBRARY_IMAGE TARN_SCRIPT_RESERVE=${TARN_SCRIPT_RESERVE})
target_include_directories(tarn_dll_start PRIVATE .)
add_library(tarn_dll_watch OBJECT startup/library_image/watch.cpp)
target_link_libraries(tarn_dll_watch PRIVATE tarn_library_flags)

add_library(tarn_compiler_support OBJECT platform/windows/compiler_support.cpp)
target_link_libraries(tarn_compiler_support PRIVATE tarn_library_flags)

include(TarnVersion)
tarn_version_resource(TARNLIBC64.DLL "${PROJECT_DESCRIPTION}" version_object)

# The linker would take the base of a DLL from the path of its output.
set(unfinished ${CMAKE_CURRENT_BINARY_DIR}/TARNLIBC64.unfinished.dll)
add_custom_command(
  OUTPUT ${CMAKE_BINARY_DIR}/TARNLIBC64.DLL ${CMAKE_BINARY_DIR}/libtarnlibc64.dll.a
  COMMAND ${CMAKE_CXX_COMPILER} -nostdlib -shared ${TARN_NO_TIME} -Wl,--image-base,0x2A0000000 -Wl,-e,__BrackenStartup
          -Wl,--out-implib,${CMAKE_BINARY_DIR}/libtarnlibc64.dll.a
          $<TARGET_OBJECTS:tarn_dll_start> $<TARGET_OBJECTS:tarn_dll_watch>
          $<TARGET_OBJECTS:tarn_modules>
          $<TARGET_OBJECTS:tarn_platform> $<TARGET_OBJECTS:tarn_compiler_support>
          ${version_object} ${CMAKE_BINARY_DIR}/TARNLIBC64.def
          ${CMAKE_BINARY_DIR}/libpaneview64_calls.a
          -lkernel32 -o ${unfinished}
  COMMAND ${finish_image} --dll --public-routines ${unfinished} -o ${CMAKE_BINARY_DIR}/TARNLIBC64.DLL
  COMMAND_EXPAND_LISTS VERBATIM
  DEPENDS tarn_dll_start tarn_dll_watch tarn_modules tarn_platform tarn_compiler_support
          $<TARGET_OBJECTS:tarn_dll_start> $<TARGET_OBJECTS:tarn_dll_watch>
          $<TARGET_OBJECTS:tarn_modules>
          $<TARGET_OBJECTS:tarn_platform> $<TARGET_OBJECTS:tarn_compiler_support>
          ${version_object} ${CMAKE_BINARY_DIR}/TARNLIBC64.def
          ${CMAKE_BINARY_DIR}/libpaneview64_calls.a ${finish_image})
# What is installed.
add_custom_command(OUTPUT ${TARN_STRIPPED}/TARNLIBC64.DLL
  COMMAND ${CMAKE_COMMAND} -E make_directory ${TARN_STRIPPED}
  COMMAND ${finish_image} --dll --public-routines --strip ${unfinished} -o ${TARN_STRIPPED}/TARNLIBC64.DLL
  COMMAND ${CMAKE_OBJCOPY} --preserve-dates --only-keep-debug ${CMAKE_BINARY_DIR}/TARNLIBC64.DLL
          ${TARN_STRIPPED}/TARNLIBC64.DLL.debug
  DEPENDS ${CMAKE_BINARY_DIR}/TARNLIBC64.DLL
  BYPRODUCTS ${TARN_STRIPPED}/TARNLIBC64.DLL.debug
  VERBATIM)
add_custom_target(tarn_dll ALL
  DEPENDS ${CMAKE_BINARY_DIR}/TARNLIBC64.DLL ${CMAKE_BINARY_DIR}/libtarnlibc64.dll.a
          ${TARN_STRIPPED}/TARNLIBC64.DLL)
