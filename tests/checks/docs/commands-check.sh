#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that commands.sh (its path is the argument) finds what it is there to find.
# shellcheck disable=SC2016 # the backquotes are Markdown's
set -eu

dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0
mkdir -p "$dir/tree/docs/guide"
cp "$1" "$dir/commands.sh"
printf '%s\n' 'verb_test() {' '}' >"$dir/tree/dev"

# expect OUTPUT PAGE LINE...: what is printed when the page has these lines, and no other has any.
expect() {
    output=$1
    page=$dir/tree/$2
    shift 2
    printf '%s\n' "$@" >"$page"
    status=0
    actual=$(sh "$dir/commands.sh" "$dir/tree" 2>&1) || status=$?
    rm "$page"
    [ "$status" -eq 0 ] && found= || found=1
    if [ "$actual" != "$output" ] || [ "$found" != "${output:+1}" ]; then
        printf 'for: %s\nexpected: %s\ngot %s: %s\n' "$*" "$output" "$status" "$actual"
        failures=1
    fi
}

expect '' docs/a.md '```sh' './dev test dev # all' '```' 'make' '```text' '$ make' '```'
expect '' docs/guide/a.md '```console' '$ anything' 'at all' '```'
expect 'docs/a.md: nothing runs: make all' docs/a.md '```console' '$ make all' 'done' '```'
expect 'docs/a.md: nothing runs: make' docs/a.md '```sh' 'make # it' '```'
expect 'docs/a.md: nothing runs: ./dev fly' docs/a.md '```sh' './dev fly' '```'
expect '' README.md '## A program of your own' '```console' '$ make' '```'
expect 'README.md: nothing runs: make' README.md '## Other' '```console' '$ make' '```'
printf '%s\n' '| docs/a.md: | make | a test |' >"$dir/commands.txt"
expect '' docs/a.md '```sh' 'make' '```'
expect 'docs/a.md: nothing runs: make all' docs/a.md '```sh' 'make' 'make all' '```'
expect 'commands.txt: no page has: docs/a.md: make' docs/a.md 'Nothing'
exit "$failures"
