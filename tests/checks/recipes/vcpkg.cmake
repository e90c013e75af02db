# SPDX-License-Identifier: MIT
# Runs the port of vcpkg by hand: each of vcpkg's functions that it calls does here what its manual
# says, for one kind of build.
#
# cmake -DSOURCE_DIR=... -DWORK_DIR=... -P vcpkg.cmake: installs below WORK_DIR/vcpkg
set(CURRENT_PACKAGES_DIR ${WORK_DIR}/vcpkg)
set(build ${WORK_DIR}/vcpkg-build)

# An option that the project does not know is a mistake, though CMake only warns of it.
function(run)
  execute_process(COMMAND ${ARGV} OUTPUT_QUIET ERROR_VARIABLE errors COMMAND_ERROR_IS_FATAL ANY)
  if(errors)
    message(FATAL_ERROR "${errors}")
  endif()
endfunction()

function(vcpkg_cmake_configure)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "SOURCE_PATH" "OPTIONS")
  run(${CMAKE_COMMAND} -S ${arg_SOURCE_PATH} -B ${build} -G Ninja -DCMAKE_BUILD_TYPE=Release
    -DCMAKE_INSTALL_PREFIX=${CURRENT_PACKAGES_DIR} -DCMAKE_INSTALL_LIBDIR=lib ${arg_OPTIONS}
    -Werror=dev)
endfunction()

function(vcpkg_cmake_install)
  run(${CMAKE_COMMAND} --build ${build} --target install)
endfunction()

# The files of the package lie two directories below the prefix then, not three.
function(vcpkg_cmake_config_fixup)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "PACKAGE_NAME;CONFIG_PATH" "")
  set(share ${CURRENT_PACKAGES_DIR}/share/${arg_PACKAGE_NAME})
  file(MAKE_DIRECTORY ${CURRENT_PACKAGES_DIR}/share)
  file(RENAME ${CURRENT_PACKAGES_DIR}/${arg_CONFIG_PATH} ${share})
  file(GLOB files ${share}/*.cmake)
  foreach(file IN LISTS files)
    file(READ ${file} text)
    string(REPLACE "/../../../" "/../../" text "${text}")
    string(REPLACE
      "get_filename_component(_IMPORT_PREFIX \"\${_IMPORT_PREFIX}\" PATH)\nget_filename_component"
      "get_filename_component" text "${text}")
    file(WRITE ${file} "${text}")
  endforeach()
endfunction()

function(vcpkg_fixup_pkgconfig)
  if(NOT EXISTS ${CURRENT_PACKAGES_DIR}/lib/pkgconfig/Vorn-Bases.pc)
    message(FATAL_ERROR "no file for pkg-config")
  endif()
endfunction()

function(vcpkg_install_copyright)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "" "FILE_LIST")
  file(COPY ${arg_FILE_LIST} DESTINATION ${CURRENT_PACKAGES_DIR}/share/vorn-bases)
endfunction()

include(${SOURCE_DIR}/packaging/vcpkg/portfile.cmake)
