# SPDX-License-Identifier: MIT
# Installs the library, its headers and the files by which find_package(VornBases) and
# pkg-config Vorn-Bases find them.
include(CMakePackageConfigHelpers)
include(cmake/Sbom.cmake)

set(VORN_BASES_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/VornBases)

install(TARGETS VornBases EXPORT VornBasesTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(TARGET VornBasesArchive)
  install(TARGETS VornBasesArchive ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
# gdb looks there, and below /usr only, for what belongs to the library's file.
if(BUILD_SHARED_LIBS AND CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/gdb/printers.py
    DESTINATION ${CMAKE_INSTALL_DATADIR}/gdb/auto-load${CMAKE_INSTALL_FULL_LIBDIR}
    RENAME libVorn-Bases.so.${PROJECT_VERSION}-gdb.py)
endif()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/Bases/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/Bases
  FILES_MATCHING PATTERN "*.h" PATTERN "Impl" EXCLUDE)
install(FILES ${PROJECT_BINARY_DIR}/include/Bases/Version.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/Bases)
install(EXPORT VornBasesTargets NAMESPACE Vorn:: DESTINATION ${VORN_BASES_CMAKE_DIR})
vorn_write_sbom(${PROJECT_BINARY_DIR}/vorn-bases.spdx.json)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/THIRD-PARTY.md
    ${PROJECT_BINARY_DIR}/vorn-bases.spdx.json
  DESTINATION ${CMAKE_INSTALL_DOCDIR})
# The build directory is a place where find_package looks, too.
export(TARGETS VornBases NAMESPACE Vorn:: FILE ${PROJECT_BINARY_DIR}/VornBasesTargets.cmake)

get_target_property(VORN_BASES_TYPE VornBases TYPE)
configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/VornBasesConfig.cmake.in
  ${PROJECT_BINARY_DIR}/VornBasesConfig.cmake
  INSTALL_DESTINATION ${VORN_BASES_CMAKE_DIR})
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/VornBasesConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/VornBasesConfig.cmake
  ${PROJECT_BINARY_DIR}/VornBasesConfigVersion.cmake
  DESTINATION ${VORN_BASES_CMAKE_DIR})

# The pkg-config file finds the prefix from its own place, so that it holds for any that
# cmake --install is given. With a library directory that is configured as absolute it cannot.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(VORN_BASES_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH VORN_BASES_PC_PREFIX "/p/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/p")
  cmake_path(SET VORN_BASES_PC_PREFIX "\${pcfiledir}/${VORN_BASES_PC_PREFIX}")
endif()
cmake_path(APPEND VORN_BASES_PC_LIBDIR "\${prefix}" "${CMAKE_INSTALL_LIBDIR}")
cmake_path(APPEND VORN_BASES_PC_INCLUDEDIR "\${prefix}" "${CMAKE_INSTALL_INCLUDEDIR}")
configure_file(
  ${PROJECT_SOURCE_DIR}/cmake/Vorn-Bases.pc.in
  ${PROJECT_BINARY_DIR}/Vorn-Bases.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/Vorn-Bases.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
