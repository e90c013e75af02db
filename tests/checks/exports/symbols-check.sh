#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that symbols.sh (its path is the first argument) finds what it is there to find, in a
# library that the compiler in the second argument makes.
set -eu

check=$1
compiler=$2
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0

printf '%s\n' 'struct Thing { Thing(); };' 'Thing::Thing() {}' 'extern "C" void plain() {}' \
    >"$dir/library.cpp"
printf '%s\n' 'SOME_1.0 { global: *; };' >"$dir/library.map"
"$compiler" -shared -fPIC -O1 -Wl,--version-script="$dir/library.map" \
    -o "$dir/library.so" "$dir/library.cpp"

# expect STATUS OUTPUT SYMBOL...: the result for a list of these symbols.
expect() {
    status=$1
    output=$2
    shift 2
    {
        printf '%s\n' 'library.so.1 library1 #MINVER#' '* Build-Depends-Package: library-dev'
        printf ' %s 1.0.0\n' "$@"
    } >"$dir/list"
    actual_status=0
    actual=$(sh "$check" "$dir/library.so" "$dir/list" 2>&1) || actual_status=$?
    if [ "$actual_status" != "$status" ] || [ "$actual" != "$output" ]; then
        printf 'for: %s\nexpected %s: %s\ngot %s: %s\n' \
            "$*" "$status" "$output" "$actual_status" "$actual"
        failures=1
    fi
}

version=SOME_1.0@SOME_1.0
complete=_ZN5ThingC1Ev@SOME_1.0
base=_ZN5ThingC2Ev@SOME_1.0
plain=plain@SOME_1.0
expect 0 '' "$version" "$complete" "$base" "$plain"
expect 1 "offered, but not listed: $base" "$version" "$complete" "$plain"
expect 1 "offered, but not listed: $version" "$complete" "$base" "$plain"
expect 1 "listed, but not offered: other@SOME_1.0" "$version" "$complete" "$base" "$plain" other@SOME_1.0
expect 1 "offered, but not listed: $plain
listed, but not offered: plain@Base" "$version" "$complete" "$base" plain@Base
exit "$failures"
