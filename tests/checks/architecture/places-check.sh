#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that places.sh (its path is the argument) finds what it is there to find.
# shellcheck disable=SC2016 # the backquotes are Markdown's
set -eu

check=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0
mkdir -p "$dir/tree/Bases/Impl/Port" "$dir/tree/tests/Time"
for file in Bases/Bases.cpp Bases/Impl/Date.cpp Bases/Impl/Port/Clock_posix.cpp \
    tests/Time/DateTest.cpp tests/Time/TimeTextTest.cpp tests/Time/TimeZoneTest.cpp; do
    : >"$dir/tree/$file"
done

# expect OUTPUT ROW...: what is printed for a table of these rows.
expect() {
    output=$1
    shift
    printf '%s\n' '# Page' '| Behaviour | Unit | Tests |' '|---|---|---|' "$@" '' '| a | `b` | `c` |' \
        >"$dir/page.md"
    status=0
    actual=$(sh "$check" "$dir/tree" "$dir/page.md" 2>&1) || status=$?
    [ "$status" -eq 0 ] && found= || found=1
    if [ "$actual" != "$output" ] || [ "$found" != "${output:+1}" ]; then
        printf 'for: %s\nexpected: %s\ngot %s: %s\n' "$*" "$output" "$status" "$actual"
        failures=1
    fi
}

page=$(realpath "$dir")/page.md
first='| Start | `Bases` | |'
dates='| Dates | `Date`, `Port/Clock` | `DateTest` |'
times='| Times | | `Time*Test` |'
expect '' "$first" "$dates" "$times"
expect "$page:5: there is no Dat" "$first" '| Dates | `Dat` | |' "$dates" "$times"
expect "$page:7: there is no D*Tes" "$first" "$dates" "$times" '| Dates | | `D*Tes` |'
expect 'Bases/Bases.cpp:1: is in no row of the table of behaviours' "$dates" "$times"
expect 'Bases/Impl/Port/Clock_posix.cpp:1: is in no row of the table of behaviours' \
    "$first" '| Dates | `Date` | `DateTest` |' "$times"
expect 'tests/Time/TimeZoneTest.cpp:1: is in no row of the table of behaviours' \
    "$first" "$dates" '| Times | | `TimeTextTest` |'
mkdir "$dir/empty" "$dir/empty/Bases" "$dir/empty/tests"
mv "$dir/tree" "$dir/full"
mv "$dir/empty" "$dir/tree"
expect 'no table of behaviours was found'
exit "$failures"
