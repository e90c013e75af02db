#!/bin/sh
# SPDX-License-Identifier: MIT
# Lists the classes of the public headers: for each a line with its size and alignment, and below it
# its virtual functions in their order.
#
# list.sh COMPILER DIRECTORY HEADER...: a GCC, and the headers as they are included from the
# directory.
set -eu

compiler=$1
directory=$(realpath "$2")
shift 2
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

printf '#include <%s>\n' "$@" >"$dir/headers.cpp"
(cd "$dir" && "$compiler" -std=c++17 -fsyntax-only -fdump-lang-class=classes -I"$directory" headers.cpp)

# The first two entries of a table of virtual functions are no functions; those for the destructor
# of an abstract class are 0.
awk '
    /^Class Vorn::/ { name = $2; wanted = 1 }
    wanted && /^ *size=/ {
        gsub(/[a-z]*=/, "")
        class[name] = name " size " $1 " align " $2
        wanted = 0
    }
    /^$/ { table = "" }
    /^Vtable for Vorn::/ { table = $3 }
    table != "" && /^[0-9]+ / && $1 >= 16 {
        sub(/^[0-9]+ +(\(int \(\*\)\(\.\.\.\)\))?/, "")
        functions[table] = functions[table] "\n    " $0
    }
    END {
        for (name in class)
            print class[name] functions[name]
    }
' "$dir/classes" >"$dir/unsorted"
# In the order of the names, each with its functions.
awk '/^[^ ]/ { name = $1 } { printf "%s\t%d\t%s\n", name, FNR, $0 }' "$dir/unsorted" |
    LC_ALL=C sort -t "$(printf '\t')" -k 1,1 -k 2,2n | cut -f 3-
