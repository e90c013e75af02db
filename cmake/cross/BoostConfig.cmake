# SPDX-License-Identifier: MIT
# Boost for a foreign machine: the host's headers.
vorn_link_host_headers(boost)
add_library(Boost::headers INTERFACE IMPORTED)
target_include_directories(Boost::headers INTERFACE ${VORN_HOST_HEADERS})
