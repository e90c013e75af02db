# SPDX-License-Identifier: MIT
# Which of the variants in Bases/Impl/Port the build takes.
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  set(VORN_BASES_HOST linux)
elseif(CMAKE_SYSTEM_NAME STREQUAL "Darwin")
  set(VORN_BASES_HOST mac)
else()
  message(FATAL_ERROR
    "There is no port to ${CMAKE_SYSTEM_NAME}. Bases/Impl/Port/Contract.h says what one owes, and "
    "docs/architecture.md, under \"A host\", where it goes.")
endif()
