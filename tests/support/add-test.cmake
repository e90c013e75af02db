# SPDX-License-Identifier: MIT
# How a test program is added. Each family's list sets VORN_TEST_TIMEOUT, the seconds that one of
# its tests may take, before it adds any.
include(GoogleTest)

# The zones in which tests of local time run, by name: without an offset, ahead of and behind UTC,
# with daylight saving in either hemisphere, and off the full hour. They are written out, so that no
# zone files are needed; Zone.h has the same ones.
set(VORN_TEST_ZONES
  "Universal=UTC0"
  "East=XXX-9"
  "West=EST5EDT,M3.2.0,M11.1.0"
  "South=AEST-10AEDT,M10.1.0,M4.1.0/3"
  "HalfHour=IST-5:30")

# Registers the tests of a program, with the program as their label, by which ./dev test chooses
# them. Further arguments go to gtest_discover_tests; PROPERTIES come last.
function(vorn_discover_tests name)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" PROPERTIES)
  gtest_discover_tests(${name}
    DISCOVERY_MODE PRE_TEST
    DISCOVERY_TIMEOUT 120 # on a machine that is busy with other work, too
    ${ARG_UNPARSED_ARGUMENTS}
    PROPERTIES
      TIMEOUT ${VORN_TEST_TIMEOUT}
      LABELS ${name}
      ${ARG_PROPERTIES})
endfunction()

# Registers every test of a program once for each zone, as Suite.Name@Zone.
function(vorn_discover_tests_in_zones name)
  foreach(zone IN LISTS VORN_TEST_ZONES)
    string(REGEX MATCH "^([^=]+)=(.+)$" matched "${zone}")
    vorn_discover_tests(${name}
      TEST_FILTER "${VORN_TEST_FILTER}"
      TEST_SUFFIX "@${CMAKE_MATCH_1}"
      PROPERTIES ENVIRONMENT "TZ=${CMAKE_MATCH_2}")
  endforeach()
endfunction()

# One test program per unit. IN_ZONES runs it in each of the zones above instead of once. LARGE is
# for tests that take seconds in a build of the type Release, which is the only one to run them; nor
# does an emulated machine.
function(vorn_add_test name)
  cmake_parse_arguments(ARG "IN_ZONES;LARGE" "" "SOURCES" ${ARGN})
  if(NOT ARG_SOURCES)
    set(ARG_SOURCES ${name}.cpp)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE
    VornTestBase VornTestPlatform VornTestSupport VornBasesObjects)
  if(name IN_LIST VORN_PROGRAMS_LEFT_OUT)
    set_target_properties(${name} PROPERTIES EXCLUDE_FROM_ALL ON)
    return()
  endif()
  if(ARG_LARGE AND (CMAKE_CROSSCOMPILING OR NOT CMAKE_BUILD_TYPE STREQUAL "Release"))
    return()
  endif()
  if(ARG_IN_ZONES)
    vorn_discover_tests_in_zones(${name})
    return()
  endif()
  vorn_discover_tests(${name} TEST_FILTER "${VORN_TEST_FILTER}")
endfunction()

# Tells a test which kernels the build has, so that it reaches also those that this machine would
# not choose, since it has better ones.
function(vorn_tell_kernels name)
  get_target_property(definitions VornBasesObjects COMPILE_DEFINITIONS)
  list(FILTER definitions INCLUDE REGEX "^VORN_BASES_(GFNI|HIGHWAY|VBMI)$")
  target_compile_definitions(${name} PRIVATE ${definitions})
endfunction()

# The same program over the library's macOS variants, as NAMEOnMac, and its tests once for each
# thing that macOS may do where its documentation is silent, as Suite.Name@KernelForgets and so on:
# see support/mac/.
function(vorn_add_test_on_mac name)
  add_executable(${name}OnMac ${name}.cpp)
  target_link_libraries(${name}OnMac PRIVATE
    VornTestBase VornTestPlatform VornTestSupport VornBasesOnMac VornMacThread VornMacSimulation)
  target_compile_definitions(${name}OnMac PRIVATE VORN_ON_SIMULATED_MAC)
  foreach(kernel Forgets Keeps Counts)
    string(TOLOWER ${kernel} value)
    vorn_discover_tests(${name}OnMac
      # A simulated kernel takes very long for so many turns.
      TEST_FILTER "${VORN_TEST_FILTER}:*HandOver*"
      TEST_SUFFIX "@Kernel${kernel}"
      PROPERTIES ENVIRONMENT "VORN_SIMULATED_KERNEL=${value}")
  endforeach()
endfunction()

# A program that tests start, one of support/. One of another machine is started by a script, since
# the system cannot.
function(vorn_add_test_helper name)
  add_executable(${name} EXCLUDE_FROM_ALL ${name}.cpp)
  target_link_libraries(${name} PRIVATE VornBasesObjects VornBasesCompiler)
  if(CMAKE_CROSSCOMPILING)
    list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
    file(GENERATE OUTPUT ${name}.sh
      CONTENT "#!/bin/sh\nexec ${emulator} '$<TARGET_FILE:${name}>' \"$@\"\n"
      FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
  endif()
endfunction()

# Builds the helper before the test, which finds the helper's path in the definition.
function(vorn_use_test_helper name test definition)
  set(path $<TARGET_FILE:${name}>)
  if(CMAKE_CROSSCOMPILING)
    set(path $<TARGET_FILE_DIR:${name}>/${name}.sh)
  endif()
  target_compile_definitions(${test} PRIVATE ${definition}="${path}")
  add_dependencies(${test} ${name})
endfunction()
