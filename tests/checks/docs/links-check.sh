#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that links.sh (its path is the argument) finds what it is there to find.
# shellcheck disable=SC2016 # the backquotes are Markdown's
set -eu

check=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0
mkdir -p "$dir/tree/docs/pictures"
printf '%s\n' '# The other page' '## What `Set` does, and *when*' '## Twice' '## Twice' \
    '```' '# no heading' '```' >"$dir/tree/docs/other.md"
touch "$dir/tree/docs/pictures/one.svg" "$dir/tree/README.md" "$dir/outside.md"

# expect OUTPUT LINE...: what is printed when docs/page.md has these lines.
expect() {
    output=$1
    shift
    printf '%s\n' "$@" >"$dir/tree/docs/page.md"
    status=0
    actual=$(sh "$check" "$dir/tree" 2>&1) || status=$?
    [ "$status" -eq 0 ] && found= || found=1
    if [ "$actual" != "$output" ] || [ "$found" != "${output:+1}" ]; then
        printf 'for: %s\nexpected: %s\ngot %s: %s\n' "$*" "$output" "$status" "$actual"
        failures=1
    fi
}

# accept TARGET, refuse TARGET FAULT
accept() { expect '' "# Own heading" "See [this]($1), too."; }
refuse() { expect "docs/page.md:2: $2: $1" "# Own heading" "See [this]($1), too."; }

accept other.md
accept pictures
accept ../README.md
accept 'other.md "A title"'
accept https://example.org/missing.md
accept mailto:a@example.org
accept '#own-heading'
accept other.md#the-other-page
accept other.md#what-set-does-and-when
accept other.md#twice
accept other.md#twice-1
refuse missing.md 'leads to nothing'
refuse README.md 'leads to nothing'
refuse ../../outside.md 'leads out of the tree'
refuse '#other-heading' 'leads to no heading'
refuse other.md#no-heading 'leads to no heading'
refuse other.md#twice-2 'leads to no heading'
refuse 'other.md#Twice' 'leads to no heading'
refuse 'pictures#twice' 'leads to no heading'
refuse pictures/one.svg#twice 'leads to no heading'

expect '' '`[code](gone.md)` and' '```' '[code](gone.md)' '```'
expect 'docs/page.md:3: leads to nothing: b.md
docs/page.md:3: leads to nothing: c.md' '' '' '[a](other.md) [b](b.md) ![c](c.md "C")'
expect 'docs/page.md:2: leads to nothing: gone.md' '[name]: other.md' '[else]: gone.md'
expect 'docs/page.md:1: leads to nothing: two.svg' \
    '<a href="other.md"><img src="pictures/one.svg" alt="one"></a> <img src="two.svg">'
rm -r "$dir/tree/README.md" "$dir/tree/docs/other.md"
printf '[gone](gone.md)\n' >"$dir/tree/README.md"
expect 'README.md:1: leads to nothing: gone.md' 'nothing'
rm "$dir/tree/README.md" "$dir/tree/docs/page.md"
if sh "$check" "$dir/tree" >"$dir/output"; then
    echo 'accepted a tree without pages'
    failures=1
fi
exit "$failures"
