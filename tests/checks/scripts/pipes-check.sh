#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that pipes.sh (its path is the argument) finds what it is there to find.
# shellcheck disable=SC2016 # the scripts are to hold these texts as they are
set -eu

check=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0

# expect OUTPUT LINE...: the result for a script of these lines.
expect() {
    output=$1
    status=0
    [ -z "$output" ] || status=1
    shift
    printf '%s\n' "$@" >"$dir/script"
    actual_status=0
    actual=$(cd "$dir" && sh "$check" script 2>&1) || actual_status=$?
    if [ "$actual_status" != "$status" ] || [ "$actual" != "$output" ]; then
        printf 'for: %s\nexpected %s: %s\ngot %s: %s\n' \
            "$*" "$status" "$output" "$actual_status" "$actual"
        failures=1
    fi
}

found='pipes into a reader that may end early'
expect "script:2: $found" 'set -euo pipefail' 'ldd program | grep -q name'
expect "script:2: $found" 'set -o pipefail' 'if ldd program |grep -F -xq name; then'
expect "script:2: $found" 'set -o pipefail' 'ldd program | grep -m1 name'
expect "script:2: $found" 'set -o pipefail' 'first=$(ldd program | head -n 1)'
expect "script:3: $found" 'set -o pipefail' 'ldd program |' '    grep -q name'
expect '' 'set -eu' 'ldd program | grep -q name'
expect '' 'set -o pipefail' 'ldd program | grep name' 'grep -q name <<<"$(ldd program)"'
expect '' 'set -o pipefail' 'ldd program || grep -q name file' '# ldd program | grep -q name'
exit "$failures"
