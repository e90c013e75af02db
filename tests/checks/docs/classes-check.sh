#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that classes.sh (its path is the argument) finds what it is there to find.
# shellcheck disable=SC2016 # the backquotes are Markdown's
set -eu

check=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0
mkdir "$dir/Bases" "$dir/docs"

# expect OUTPUT ROW...: the result for a guide with these rows, and a class Bits and a struct Time.
expect() {
    output=$1
    status=0
    [ -z "$output" ] || status=1
    shift
    printf '%s\n' '`Elsewhere`' '| Threads | Classes |' '|---|---|' "$@" '' '`Elsewhere`' \
        >"$dir/docs/guide.md"
    actual_status=0
    actual=$(sh "$check" "$dir") || actual_status=$?
    if [ "$actual_status" != "$status" ] || [ "$actual" != "$output" ]; then
        printf 'for: %s\nexpected %s: %s\ngot %s: %s\n' \
            "$*" "$status" "$output" "$actual_status" "$actual"
        failures=1
    fi
}

printf '%s\n' 'class Handle;' 'class VORN_BASES_API Bits : public Base { // why' 'struct Time {' \
    >"$dir/Bases/All.h"
said='the guide does not say once which threads may use'
expect '' '| any | `Bits` |' '| one | `Time` |'
expect '' '| any | `Bits`, `Time` |'
expect "Bases/All.h: $said Time" '| any | `Bits` |'
expect "Bases/All.h: $said Bits" '| any | `Bits` |' '| one | `Time`, `Bits` |'
expect 'docs/guide.md: there is no class Handle' '| any | `Bits`, `Time`, `Handle` |'
: >"$dir/Bases/All.h"
expect 'no class was found' '| any | none |'
exit "$failures"
