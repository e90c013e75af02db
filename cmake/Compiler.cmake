# SPDX-License-Identifier: MIT
# What every target of this project is compiled with; a program that uses the installed library
# gets none of it.
add_library(VornBasesOptions INTERFACE) # whatever the edition of C++
add_library(VornBasesCompiler INTERFACE)
target_link_libraries(VornBasesCompiler INTERFACE VornBasesOptions)
target_compile_features(VornBasesCompiler INTERFACE cxx_std_20)
cmake_path(RELATIVE_PATH PROJECT_SOURCE_DIR BASE_DIRECTORY ${CMAKE_BINARY_DIR}
  OUTPUT_VARIABLE VORN_BASES_SOURCES_FROM_BUILD)
target_compile_options(VornBasesOptions INTERFACE
  $<$<BOOL:${VORN_BASES_WERROR}>:-Werror>
  # GCC 12 sees overlapping copies in optimised string concatenations where there are none.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  # std::stable_sort of GCC 12's library calls what newer compilers know as deprecated.
  $<$<CXX_COMPILER_ID:Clang>:-Wno-deprecated-declarations>
  # The C++ library checks indices, iterators and pointers.
  $<$<CONFIG:Debug>:-D_GLIBCXX_ASSERTIONS>
  # Assertions and other uses of __FILE__ name the file as it stands in the repository, also where a
  # compiler cache hands the compiler a path from the build directory.
  -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=
  -fmacro-prefix-map=${VORN_BASES_SOURCES_FROM_BUILD}/=)

# Which warnings to see is the choice of the project at the top.
if(PROJECT_IS_TOP_LEVEL)
  target_compile_options(VornBasesOptions INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
endif()

if(VORN_BASES_SANITIZE)
  target_compile_options(VornBasesOptions INTERFACE
    -fsanitize=${VORN_BASES_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(VornBasesOptions INTERFACE -fsanitize=${VORN_BASES_SANITIZE})
  if(VORN_BASES_SANITIZE MATCHES "thread")
    target_compile_definitions(VornBasesOptions INTERFACE VORN_BASES_WATCHES_THREADS)
  endif()
endif()

# Code that libFuzzer watches; its own main comes with the targets. What another engine wants is in
# the environment's flags.
if(VORN_BASES_FUZZ AND NOT VORN_BASES_FUZZ_ENGINE)
  target_compile_options(VornBasesOptions INTERFACE -fsanitize=fuzzer-no-link)
  target_link_options(VornBasesOptions INTERFACE -fsanitize=fuzzer-no-link)
endif()

# What is made to be installed is hardened. Only in optimised code does the C library know the sizes
# that it checks. Level 3 also checks those that are known at run time only, which makes appending a
# byte to a buffer half as slow again; a preset tests it.
set(VORN_BASES_FORTIFY 2 CACHE STRING "Level of _FORTIFY_SOURCE in optimised code")
add_library(VornBasesHardening INTERFACE)
if(VORN_BASES_HARDENING AND NOT VORN_BASES_SANITIZE AND NOT APPLE)
  target_compile_options(VornBasesHardening INTERFACE
    -fstack-protector-strong
    $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=${VORN_BASES_FORTIFY}>)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|amd64|AMD64)$")
    target_compile_options(VornBasesHardening INTERFACE -fcf-protection)
  endif()
  target_link_options(VornBasesHardening INTERFACE LINKER:-z,relro LINKER:-z,now)
endif()

# Counts what runs of sources, for ./dev coverage. They are not optimised then: the branches that
# are counted are those of the source.
set(VORN_COVERAGE_OPTIONS)
if(VORN_BASES_COVERAGE)
  set(VORN_COVERAGE_OPTIONS --coverage -fprofile-update=atomic -O0)
  target_link_options(VornBasesOptions INTERFACE --coverage LINKER:--strip-debug)
endif()

function(vorn_count_coverage target)
  target_compile_options(${target} PRIVATE ${VORN_COVERAGE_OPTIONS})
endfunction()

function(vorn_count_coverage_of)
  set_property(SOURCE ${ARGV} APPEND PROPERTY COMPILE_OPTIONS ${VORN_COVERAGE_OPTIONS})
endfunction()
