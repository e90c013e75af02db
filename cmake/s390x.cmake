# SPDX-License-Identifier: MIT
# Debian's cross compiler for a big-endian machine, whose programs qemu runs here. For tests only.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(CMAKE_C_COMPILER s390x-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER s390x-linux-gnu-g++)

set(VORN_S390X_ROOT /usr/s390x-linux-gnu)
set(CMAKE_FIND_ROOT_PATH ${VORN_S390X_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-s390x -L ${VORN_S390X_ROOT})

# Boost's headers are the same for every machine, so the host's serve.
set(Boost_DIR ${CMAKE_CURRENT_LIST_DIR}/s390x)
