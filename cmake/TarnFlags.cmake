# tarn_warnings: for every target of the project.
add_library(tarn_warnings INTERFACE)
target_compile_options(tarn_warnings INTERFACE
  $<$<COMPILE_LANGUAGE:C,CXX>:-Wall -Wextra -Wshadow -Wconversion>)
if(TARN_SANITIZE)
  target_compile_options(tarn_warnings INTERFACE
    $<$<COMPILE_LANGUAGE:C,CXX>:-fsanitize=address,undefined -fno-sanitize-recover=undefined
    -fno-omit-frame-pointer -O1 -g1>)
  target_link_options(tarn_warnings INTERFACE -fsanitize=address,undefined)
endif()
if(TARN_FUZZ)
  target_compile_options(tarn_warnings INTERFACE
    $<$<COMPILE_LANGUAGE:C,CXX>:-fsanitize=fuzzer-no-link,address -O1 -g1>)
  target_link_options(tarn_warnings INTERFACE -fsanitize=address)
endif()

# tarn_hardened: for what reads files of others on Linux, the tools and the platform's back end.
# The library's own routines do without guards on the stack, which make sprintf and sscanf take a
# fifth longer. There are no marks for indirect branches: Debian's static libraries have none, and
# tarnrun's images neither.
add_library(tarn_hardened INTERFACE)
if(NOT WIN32 AND NOT TARN_SANITIZE AND NOT TARN_FUZZ)
  target_compile_options(tarn_hardened INTERFACE
    -fPIE $<$<COMPILE_LANGUAGE:C,CXX>:-fstack-protector-strong>)
  target_compile_definitions(tarn_hardened INTERFACE
    $<$<AND:$<COMPILE_LANGUAGE:C,CXX>,$<NOT:$<CONFIG:Debug>>>:_FORTIFY_SOURCE=2>)
  target_link_options(tarn_hardened INTERFACE
    $<IF:$<BOOL:$<TARGET_PROPERTY:TARN_STATIC>>,-static-pie,-pie> -Wl,-z,relro,-z,now,-z,noexecstack)
endif()

# tarn_headers: for everything that includes headers of src/. The headers of include/ are then
# read as the library's own: include/tarn/api.h.
add_library(tarn_headers INTERFACE)
target_include_directories(tarn_headers INTERFACE ${CMAKE_SOURCE_DIR}/src ${CMAKE_SOURCE_DIR})
target_compile_definitions(tarn_headers INTERFACE TARN_LIBRARY)

# tarn_library_flags: for the library and its sibling. No C++ run-time, no
# calls that the compiler invents, the same double arithmetic on both targets.
add_library(tarn_library_flags INTERFACE)
target_link_libraries(tarn_library_flags INTERFACE tarn_headers tarn_warnings)
target_compile_options(tarn_library_flags INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics -ffp-contract=off
  -fno-builtin -fno-strict-aliasing -fno-stack-protector>)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  target_compile_options(tarn_library_flags INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:-fno-tree-loop-distribute-patterns>)
endif()
if(WIN32)
  target_compile_options(tarn_library_flags INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:-ffreestanding>)
else()
  # Small variables apart from large buffers: tarnrun is linked so that those share pages.
  target_compile_options(tarn_library_flags INTERFACE -fPIE -fdata-sections)
endif()
