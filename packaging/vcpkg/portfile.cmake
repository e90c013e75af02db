# SPDX-License-Identifier: MIT
# Builds the tree that this file lies in:
#   vcpkg install vorn-bases --overlay-ports=packaging/vcpkg
get_filename_component(SOURCE_PATH "${CMAKE_CURRENT_LIST_DIR}/../.." ABSOLUTE)

vcpkg_cmake_configure(
  SOURCE_PATH "${SOURCE_PATH}"
  OPTIONS
    -DVORN_BASES_TESTS=OFF
    -DVORN_BASES_EXAMPLES=OFF)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME VornBases CONFIG_PATH lib/cmake/VornBases)
vcpkg_fixup_pkgconfig()

# The headers and the terms are the same for both kinds of build.
file(REMOVE_RECURSE
  "${CURRENT_PACKAGES_DIR}/debug/include"
  "${CURRENT_PACKAGES_DIR}/debug/share")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/LICENSE" "${SOURCE_PATH}/THIRD-PARTY.md")
