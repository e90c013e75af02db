#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that steps.sh (its path is the argument) finds what it is there to find.
# shellcheck disable=SC2016 # the backquotes are Markdown's
set -eu

check=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0

# expect STATUS COMMANDS ROW...: for a script of the commands and a page of the rows.
expect() {
    status=$1
    printf '%s\n' '#!/bin/sh' 'cd ..' "$2" >"$dir/run"
    shift 2
    printf '%s\n' '| Step | Minutes |' '|---|---|' "$@" '`./dev more`' >"$dir/page.md"
    actual=0
    sh "$check" "$dir/run" "$dir/page.md" >"$dir/output" || actual=$?
    [ "$actual" = "$status" ] || {
        printf 'for %s\nexpected %s, got %s: %s\n' "$*" "$status" "$actual" "$(cat "$dir/output")"
        failures=1
    }
}

steps='./dev test
./dev test asan'
expect 0 "$steps" '| `./dev test` | 1 |' '| `./dev test asan` | `2` |'
expect 1 "$steps" '| `./dev test` | 1 |'
expect 1 "$steps" '| `./dev test asan` | 1 |' '| `./dev test` | 1 |'
expect 1 "$steps" '| `./dev test` | 1 |' '| `./dev test asan` | 2 |' '| `./dev lint` | 3 |'
expect 1 'true' 'none'
exit "$failures"
