#!/bin/sh
# SPDX-License-Identifier: MIT
# Compiles a C++17 program that includes the headers, in their order and then once more, with every
# warning that a consumer may have on, as errors.
#
# warnings.sh COMPILER DIRECTORY HEADER...: a GCC or a Clang, and the headers as they are included
# from the directory.
set -eu

compiler=$1
directory=$2
shift 2

# A newer Clang than 14 warns of every use of a pointer as an array; its consumers turn that off
# with -Wno-unsafe-buffer-usage.
case $("$compiler" --version) in
*clang*) warnings='-Weverything -Wno-c++98-compat -Wno-c++98-compat-pedantic -Wno-padded' ;;
*) warnings='-Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wcast-qual
    -Wold-style-cast -Wuseless-cast -Wnon-virtual-dtor -Weffc++ -Woverloaded-virtual
    -Wsuggest-override -Wextra-semi -Wredundant-decls -Wundef' ;;
esac

# shellcheck disable=SC2086 # these are several words
printf '#include <%s>\n' "$@" "$@" |
    "$compiler" -std=c++17 -fsyntax-only $warnings -Werror -I"$directory" -x c++ -
