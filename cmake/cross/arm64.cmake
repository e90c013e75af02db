# SPDX-License-Identifier: MIT
# 64-bit Arm, with the kernels for it.
set(VORN_MACHINE aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/Cross.cmake)
vorn_link_host_headers(hwy)
set(VORN_HIGHWAY_INCLUDE ${VORN_HOST_HEADERS})
