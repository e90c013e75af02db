# SPDX-License-Identifier: MIT
# Sets RESULT to the pattern by which GoogleTest's filter knows the test Suite.Name, or to nothing
# when the sources, whose text is in the variable TEXT, define no such test. The name of a test with
# parameters stands between those of the instantiation and the parameter; that of a suite of types
# is followed by the type's.
function(vorn_find_test name TEXT RESULT)
  set(${RESULT} "" PARENT_SCOPE)
  if(NOT name MATCHES "^([A-Za-z0-9_]+)\\.([A-Za-z0-9_]+)$")
    return()
  endif()
  set(suite ${CMAKE_MATCH_1})
  set(test ${CMAKE_MATCH_2})
  if(NOT ${TEXT} MATCHES "\n((TYPED_)?TEST(_F|_P)?)\\([ \n]*${suite},[ \n]*${test}\\)")
    return()
  endif()
  if(CMAKE_MATCH_1 STREQUAL "TEST_P")
    set(name "*/${suite}.${test}/*")
  elseif(CMAKE_MATCH_1 STREQUAL "TYPED_TEST")
    set(name "${suite}/*.${test}")
  elseif(CMAKE_MATCH_1 STREQUAL "TYPED_TEST_P")
    set(name "*/${suite}/*.${test}")
  endif()
  set(${RESULT} "${name}" PARENT_SCOPE)
endfunction()
