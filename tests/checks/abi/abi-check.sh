#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that abi.sh (its path is the first argument) finds what it is there to find, in libraries
# that the compiler in the second argument makes.
set -eu

check=$1
compiler=$2
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0

# make MEMBERS FUNCTION: the library that has the class and the function.
make_library() {
    printf '%s\n' "struct Some { $1 };" >"$dir/Some.h"
    printf '%s\n' '#include "Some.h"' "$2" >"$dir/library.cpp"
    "$compiler" -g -shared -fPIC -o "$dir/library.so" "$dir/library.cpp"
}

# expect STATUS MEMBERS FUNCTION: the result for such a library.
expect() {
    make_library "$2" "$3"
    status=0
    sh "$check" "$dir/library.so" "$dir" "$dir/baseline.xz" >"$dir/output" 2>&1 || status=1
    [ "$status" = "$1" ] || {
        printf 'for %s\nexpected %s, got %s: %s\n' "$2 $3" "$1" "$status" "$(cat "$dir/output")"
        failures=1
    }
}

function='Some Do(Some some, int) { return some; }'
make_library 'int a; int b;' "$function"
sh "$check" "$dir/library.so" "$dir" "$dir/baseline.xz" accept
expect 0 'int a; int b;' "$function"
expect 1 'int b; int a;' "$function"
expect 1 'int a; int b; int c;' "$function"
expect 1 'int a; int b;' "$function void More() {}"
expect 1 'int a; int b;' 'Some Do(Some some, long) { return some; }'
expect 1 'int a; int b;' 'void Do(Some, int) {}'
exit "$failures"
