#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that warnings.sh (its path is the first argument) finds what it is there to find, with the
# compiler in the second argument.
set -eu

check=$1
compiler=$2
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0

# expect STATUS TEXT LINE...: what comes of a header with these lines after its guard; TEXT is among
# what the compiler says.
expect() {
    status=$1
    text=$2
    shift 2
    printf '%s\n' '#ifndef HEADER_H' '#define HEADER_H' "$@" '#endif' >"$dir/header.h"
    actual_status=0
    sh "$check" "$compiler" "$dir" header.h >"$dir/output" 2>&1 || actual_status=1
    echo . >>"$dir/output" # the empty text is found in one line at least
    if [ "$actual_status" != "$status" ] || ! grep -q -e "$text" "$dir/output"; then
        printf 'for: %s\nexpected %s: %s\ngot %s: %s\n' \
            "$*" "$status" "$text" "$actual_status" "$(cat "$dir/output")"
        failures=1
    fi
}

expect 0 '' 'inline int Twice(int a) { return 2 * a; }'
expect 1 non-virtual-dtor 'struct S { S() {} virtual void f() {} };'
expect 1 old-style-cast 'inline int Cut(double a) { return (int)a; }'
expect 1 shadow 'inline int Twice(int a) { { int a = 2; return a; } }'
expect 1 conversion 'inline int Cut(long a) { return a; }'
expect 1 'redefinition' '#undef HEADER_H' 'struct S {};'
exit "$failures"
