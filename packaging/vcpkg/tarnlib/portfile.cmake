# An overlay port of these sources:
#   vcpkg install tarnlib --overlay-ports=packaging/vcpkg
# It builds both targets on a Debian machine that scripts/setup.sh has set up, and installs
# the prefix whole below tools/: tarncc finds its parts in the folders beside its own.
set(VCPKG_POLICY_EMPTY_PACKAGE enabled)
get_filename_component(SOURCE_PATH ${CMAKE_CURRENT_LIST_DIR}/../../.. ABSOLUTE)
set(prefix ${CURRENT_PACKAGES_DIR}/tools/${PORT})
vcpkg_execute_required_process(COMMAND ${SOURCE_PATH}/build.sh
  WORKING_DIRECTORY ${SOURCE_PATH} LOGNAME build-${TARGET_TRIPLET})
foreach(build host windows)
  vcpkg_execute_required_process(COMMAND ${CMAKE_COMMAND} --install build/${build} --prefix ${prefix}
    WORKING_DIRECTORY ${SOURCE_PATH} LOGNAME install-${build}-${TARGET_TRIPLET})
endforeach()
file(WRITE ${CURRENT_PACKAGES_DIR}/share/${PORT}/tarnlibConfig.cmake
  "include(\${CMAKE_CURRENT_LIST_DIR}/../../tools/${PORT}/lib/cmake/tarnlib/tarnlibConfig.cmake)\n")
file(INSTALL ${prefix}/lib/cmake/tarnlib/tarnlibConfigVersion.cmake
  DESTINATION ${CURRENT_PACKAGES_DIR}/share/${PORT})
file(INSTALL ${CMAKE_CURRENT_LIST_DIR}/usage DESTINATION ${CURRENT_PACKAGES_DIR}/share/${PORT})
vcpkg_install_copyright(FILE_LIST ${SOURCE_PATH}/LICENSE ${SOURCE_PATH}/NOTICE)
