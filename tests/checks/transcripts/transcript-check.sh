#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that transcript.sh (its path is the argument) finds what it is there to find.
# shellcheck disable=SC2016 # the backquotes are Markdown's, the dollars belong to the commands
set -eu

check=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0

# A page with these lines in a block of commands.
page() {
    {
        printf '%s\n' '# Page' '```cpp' '$ false' '```' '```console'
        printf '%s\n' "$@"
        printf '%s\n' '```' 'More.'
    } >"$dir/page.md"
}

# expect STATUS OUTPUT [COMMAND SCRIPT]: the result for that page.
expect() {
    status=$1
    output=$2
    shift 2
    actual_status=0
    actual=$(bash "$check" "$dir/page.md" "$@" 2>&1) || actual_status=$?
    if [ "$actual_status" != "$status" ] || [ "$actual" != "$output" ]; then
        printf 'for:\n%s\nexpected %s: %s\ngot %s: %s\n' \
            "$(cat "$dir/page.md")" "$status" "$output" "$actual_status" "$actual"
        failures=1
    fi
}

# expect_difference COMMAND SHOWN ACTUAL
expect_difference() {
    expect 1 "for: $1
the page shows:
$2
but it is:
$3"
}

page '$ echo "a[b] \c"' 'a[b] \c' '$ mkdir new && cd new' '$ ls ..; x=5' 'new' '$ echo $x' '5'
expect 0 ''
page '$ seq 9' '1' '[...]' '8' '9' '$ echo 1 2 3' '1 [...] 3' '$ seq 3' '[...]'
expect 0 ''
page '$ echo a' 'b' '$ true'
expect_difference 'echo a' b a
page '$ echo a' 'A' '$ echo b' 'b'
expect_difference 'echo a' A a
page '$ echo a >&2' 'b'
expect_difference 'echo a >&2' b a
page '$ seq 2' '1'
expect_difference 'seq 2' 1 '1
2'
page '$ echo a' '*'
expect_difference 'echo a' '*' a
page '$ seq 3' '1' '[...]' '4'
expect_difference 'seq 3' '1
[...]
4' '1
2
3'

page '$ false; exit 1' '$ ./run' 'a'
expect 0 '' ./run 'echo a'
expect 1 "$dir/page.md has no such command" ./go 'echo a'
exit "$failures"
