#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that arrows.sh (its path is the argument) finds what it is there to find.
# shellcheck disable=SC2016 # the backquotes are Markdown's
set -eu

check=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0

page() {
    printf '%s\n' '# Page' '' '| Family | Public header | In `Bases/Impl` | Uses besides |' \
        '|---|---|---|---|' "$@" '' '| `Time.h` | `Bits` | `Lone` | |' >"$dir/page.md"
}
page '| Time | `Time.h` | `Clock_posix`, `Zone` | `Port/Watch`, `pthread.h` |' \
    '| File | `File.h` | `File_posix` | `Time.h`, `Assert`, `libxml/` |' \
    '| Port | | `Port/` | |' '| Shared | | `Assert` | |'

# expect OUTPUT PATH LINE...: what is printed for a tree of a file PATH with these lines, the first
# of which is line 1.
expect() {
    output=$1
    path=$2
    shift 2
    rm -rf "$dir/tree"
    mkdir -p "$dir/tree/Bases" "$dir/tree/examples" "$dir/tree/$(dirname "$path")"
    printf '%s\n' "$@" >"$dir/tree/$path"
    status=0
    actual=$(sh "$check" "$dir/tree" "$dir/page.md" 2>&1) || status=$?
    [ "$status" -eq 0 ] && found= || found=1
    if [ "$actual" != "$output" ] || [ "$found" != "${output:+1}" ]; then
        printf 'for %s: %s\nexpected: %s\ngot %s: %s\n' "$path" "$*" "$output" "$status" "$actual"
        failures=1
    fi
}

# refuse PATH INCLUDED, accept PATH INCLUDED: for a file that includes it.
refuse() { expect "$1:2: may not include $2" "$1" 'int a;' "#include <$2>"; }
accept() { expect '' "$1" 'int a;' "#include <$2>"; }

accept Bases/Time.h string
accept Bases/Time.h Bases/Export.h
accept Bases/Time.h pthread.h
refuse Bases/Time.h unistd.h
refuse Bases/Time.h sys/types.h
refuse Bases/Time.h Bases/File.h
refuse Bases/Time.h Bases/Impl/Assert.h
accept Bases/File.h Bases/Time.h
refuse Bases/File.h libxml/tree.h
refuse Bases/File.h Bases/Impl/Zone.h

accept Bases/Impl/Clock_posix.cpp Bases/Time.h
accept Bases/Impl/Clock_posix.cpp Bases/Impl/Zone.h
accept Bases/Impl/Clock_posix.cpp Bases/Impl/Port/Watch.h
accept Bases/Impl/Clock_posix.cpp sys/types.h
refuse Bases/Impl/Clock_posix.cpp Bases/File.h
refuse Bases/Impl/Clock_posix.cpp Bases/Export.h
refuse Bases/Impl/Clock_posix.cpp Bases/Impl/Assert.h
refuse Bases/Impl/Clock_posix.cpp Bases/Impl/Port/Other.h
refuse Bases/Impl/Clock_posix.cpp libxml/tree.h
refuse Bases/Impl/Zone.h Bases/Impl/Missing.h
accept Bases/Impl/File_posix.cpp libxml/tree.h
accept Bases/Impl/File_posix.cpp Bases/Impl/Assert.h
refuse Bases/Impl/File_posix.cpp Bases/Impl/Zone.h

accept Bases/Impl/Port/Watch_mac.cpp Bases/Impl/Port/Watch.h
accept Bases/Impl/Port/Watch_mac.cpp mach/mach.h
refuse Bases/Impl/Port/Watch_mac.cpp Bases/Time.h
refuse Bases/Impl/Port/Watch.h Bases/Impl/Zone.h

accept examples/some/main.cpp Bases/Time.h
accept examples/some/main.cpp Bases/Version.h
expect '' examples/some/main.cpp '#include "Own.h"'
refuse examples/some/main.cpp Bases/Impl/Zone.h
refuse examples/some/main.cpp Bases/Other.h

expect 'Bases/Other.h:1: is in no row of the table of families' Bases/Other.h 'int a;'
expect 'Bases/Impl/Lone.cpp:1: is in no row of the table of families' Bases/Impl/Lone.cpp 'int a;'
expect 'Bases/Impl/Route/A.cpp:1: is in no row of the table of families' Bases/Impl/Route/A.cpp ''
page
expect 'no table of families was found' examples/main.cpp 'int a;'
exit "$failures"
