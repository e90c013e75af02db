# SPDX-License-Identifier: MIT
# Debian's cross compiler for the machine in VORN_MACHINE, whose programs qemu runs here. For tests
# only.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${VORN_MACHINE})
set(CMAKE_C_COMPILER ${VORN_MACHINE}-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER ${VORN_MACHINE}-linux-gnu-g++)

set(VORN_MACHINE_ROOT /usr/${VORN_MACHINE}-linux-gnu)
set(CMAKE_FIND_ROOT_PATH ${VORN_MACHINE_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${VORN_MACHINE} -L ${VORN_MACHINE_ROOT})

# Headers that are the same for every machine, without those beside them: links to the host's.
set(VORN_HOST_HEADERS ${CMAKE_BINARY_DIR}/host-headers)
function(vorn_link_host_headers name)
  file(MAKE_DIRECTORY ${VORN_HOST_HEADERS})
  file(CREATE_LINK /usr/include/${name} ${VORN_HOST_HEADERS}/${name} SYMBOLIC)
endfunction()

set(Boost_DIR ${CMAKE_CURRENT_LIST_DIR})
