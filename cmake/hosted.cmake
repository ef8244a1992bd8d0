# Toolchain file: the programs and DLLs of an ordinary CMake project become hosted
# programs of the library, each finished where it is linked, with the library's DLLs
# beside it. Of an installed package:
#   cmake -DCMAKE_TOOLCHAIN_FILE=PREFIX/lib/cmake/tarnlib/hosted.cmake ...
get_filename_component(tarn_prefix ${CMAKE_CURRENT_LIST_DIR}/../../.. ABSOLUTE)
# Not among the flags: CMAKE_C_FLAGS, stated, would replace it.
set(CMAKE_C_COMPILER ${tarn_prefix}/bin/tarncc --hosted)
set(CMAKE_CXX_COMPILER ${tarn_prefix}/bin/tarncc --hosted)
set(CMAKE_Fortran_COMPILER ${tarn_prefix}/bin/tarncc --fortran)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
list(APPEND CMAKE_PREFIX_PATH ${tarn_prefix})
foreach(tool AR RANLIB NM OBJDUMP)
  string(TOLOWER ${tool} name)
  set(CMAKE_${tool} ${TARN_TRIPLE}-${name})
endforeach()
# For ctest, custom commands and checks, which run what was built.
if(CMAKE_HOST_UNIX)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${tarn_prefix}/bin/tarnrun CACHE FILEPATH "runs the programs")
endif()
# A strip that knows nothing of images would damage them; -s has them stripped.
set(CMAKE_STRIP "" CACHE FILEPATH "none: link with -s")
