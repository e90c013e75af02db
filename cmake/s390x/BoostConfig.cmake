# SPDX-License-Identifier: MIT
# Boost for a foreign machine: the host's headers, but not those beside them. The link keeps them
# apart.
set(headers ${CMAKE_BINARY_DIR}/host-headers)
file(MAKE_DIRECTORY ${headers})
file(CREATE_LINK /usr/include/boost ${headers}/boost SYMBOLIC)
add_library(Boost::headers INTERFACE IMPORTED)
target_include_directories(Boost::headers INTERFACE ${headers})
