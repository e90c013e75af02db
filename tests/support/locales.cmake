# SPDX-License-Identifier: MIT
# Locales that the tests bring along, so that they do not depend on which ones a machine has: a
# UTF-8 one, a single-byte and a double-byte one. A program that links VornTestLocales finds their
# directory in VORN_TEST_LOCPATH (see Locale.h). Debian's package locales has what they are made of.
find_program(VORN_LOCALEDEF localedef REQUIRED)

set(VORN_TEST_LOCPATH ${CMAKE_CURRENT_BINARY_DIR}/locales)
# The files hold numbers in the order of the machine that reads them.
if(CMAKE_CXX_BYTE_ORDER STREQUAL "BIG_ENDIAN")
  set(locale_order --big-endian)
else()
  set(locale_order --little-endian)
endif()

set(locale_files)
foreach(name C.UTF-8 de_DE.ISO-8859-1 ko_KR.EUC-KR)
  string(REGEX MATCH "^[^.]+" source ${name})
  string(REGEX REPLACE "^[^.]+\\." "" charmap ${name})
  set(file ${VORN_TEST_LOCPATH}/${name}/LC_CTYPE)
  add_custom_command(
    OUTPUT ${file}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${VORN_TEST_LOCPATH}
    COMMAND ${VORN_LOCALEDEF} --quiet --force ${locale_order} -i ${source} -f ${charmap}
      ${VORN_TEST_LOCPATH}/${name}
    COMMENT "Making the locale ${name} for the tests"
    VERBATIM)
  list(APPEND locale_files ${file})
endforeach()
add_custom_target(VornTestLocaleFiles DEPENDS ${locale_files})

add_library(VornTestLocales INTERFACE)
target_compile_definitions(VornTestLocales INTERFACE VORN_TEST_LOCPATH="${VORN_TEST_LOCPATH}")
add_dependencies(VornTestLocales VornTestLocaleFiles)
