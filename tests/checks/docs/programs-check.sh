#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that programs.sh (its path is the argument) finds what it is there to find.
set -eu

check=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0
mkdir -p "$dir/docs/guide" "$dir/examples/guide"
printf '%s\n' '// the licence' 'int main() {' '}' >"$dir/examples/guide/one.cpp"

# expect OUTPUT LINE...: what is printed when docs/guide/page.md has these lines.
expect() {
    output=$1
    shift
    printf '%s\n' "$@" >"$dir/docs/guide/page.md"
    status=0
    actual=$(sh "$check" "$dir" 2>&1) || status=$?
    [ "$status" -eq 0 ] && found= || found=1
    if [ "$actual" != "$output" ] || [ "$found" != "${output:+1}" ]; then
        printf 'for: %s\nexpected: %s\ngot %s: %s\n' "$*" "$output" "$status" "$actual"
        failures=1
    fi
}

link='[one](../../examples/guide/one.cpp)'
expect '' "$link" '' '```cpp' 'int main() {' '}' '```' 'Text' '```cpp' 'else;' '```'
expect 'docs/guide/page.md: does not show examples/guide/one.cpp as it is' \
    "$link" '' '```cpp' 'int main() {}' '```'
expect 'examples/guide/one.cpp: is not shown by exactly one page' \
    "See $link" '' '```cpp' 'int main() {' '}' '```'
expect 'examples/guide/one.cpp: is not shown by exactly one page' \
    "$link" '' 'Text' '```cpp' 'int main() {' '}' '```'
expect 'docs/guide/page.md: does not show examples/guide/two.cpp as it is
examples/guide/one.cpp: is not shown by exactly one page' \
    '[two](../../examples/guide/two.cpp)' '```cpp' 'int main() {' '}' '```'
i=0
while [ "$i" -lt 58 ]; do
    echo '//' >>"$dir/examples/guide/one.cpp"
    i=$((i + 1))
done
# shellcheck disable=SC2046 # each line is an argument
expect 'examples/guide/one.cpp: has more than 60 lines' \
    "$link" '```cpp' 'int main() {' '}' $(sed -n '4,$p' "$dir/examples/guide/one.cpp") '```'
exit "$failures"
