# SPDX-License-Identifier: MIT
# A big-endian machine.
set(VORN_MACHINE s390x)
include(${CMAKE_CURRENT_LIST_DIR}/Cross.cmake)
