# SPDX-License-Identifier: MIT
# Clang with the memory sanitizer, which has to watch the C++ library, too: one that was built
# without it would leave behind what the sanitizer takes for uninitialised.
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(VORN_LIBCXX ${CMAKE_CURRENT_LIST_DIR}/../../build/libcxx-msan)
string(JOIN " " CMAKE_CXX_FLAGS_INIT -fsanitize=memory -Wno-unused-command-line-argument
  -nostdinc++ -isystem ${VORN_LIBCXX}/include/c++/v1)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-fsanitize=memory -stdlib=libc++ -L${VORN_LIBCXX}/lib")
