#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that texts.sh (its path is the argument) finds what it is there to find.
# shellcheck disable=SC2016 # the backquotes are Markdown's
set -eu

check=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0
mkdir -p "$dir/docs" "$dir/Bases"

# expect OUTPUT LINE...: what is printed when a source has these lines beside those that are right.
expect() {
    output=$1
    shift
    {
        printf '%s\n' '    std::puts("[A] First.\r");' '    std::printf("[A] Of %s\n", path);' \
            '    throw std::runtime_error("bad");' '    VORN_ASSERT(p != NULL); // why' \
            '    std::snprintf(text, size, "%d", 1);'
        [ $# -eq 0 ] || printf '%s\n' "$@"
    } >"$dir/Bases/Unit.cpp"
    status=0
    actual=$(sh "$check" "$dir" 2>&1) || status=$?
    [ "$status" -eq 0 ] && found= || found=1
    if [ "$actual" != "$output" ] || [ "$found" != "${output:+1}" ]; then
        printf 'for: %s\nexpected: %s\ngot %s: %s\n' "$*" "$output" "$status" "$actual"
        failures=1
    fi
}

printf '%s\n' '| Line | Cause |' '|---|---|' '| `[A] First.` | a |' '| `[A] Of PATH` | `b` |' '' \
    '| `[A] Of another table` | b |' >"$dir/docs/your-process.md"
printf '%s\n' '| Call | Exception | `what()` |' '|---|---|---|' '| `F` | `E` | `bad` |' \
    '| `G` | `E` | any |' '' '| Call | Expression |' '|---|---|' '| `F` | `p != __null` |' \
    >"$dir/docs/errors.md"

expect ''
expect 'a printed line: the page does not list: [B] Second.' '    Print("[B] Second.\r");'
expect 'the text of an exception: the page does not list: worse' \
    '    throw std::logic_error("worse");'
expect 'the text of an exception: the page does not list: worse' '    CheckCount(count, "worse");'
expect 'an assertion: the page does not list: q != __null' '    VORN_ASSERT(q != NULL);'
expect 'a printed line: the page does not list: [B] In two parts.' \
    '    Print(' '        "[B] In two "' '        "parts.\r");'
expect 'the text of an exception: the page does not list: far worse' \
    '    throw std::logic_error(' '        "far "' '        "worse");'
expect 'an assertion: the page does not list: q != __null && r' \
    '    VORN_ASSERT(q != NULL &&' '                r);'
expect '' '    throw std::runtime_error(text);' '    Print("nothing");'
expect 'prints something else: std::puts("hello");' '    std::puts("hello");'
expect 'prints something else: std::cerr << 1;' '    std::cerr << 1;'
expect 'prints something else: std::printf("%d", 1);' '    std::printf("%d", 1);'
sed -i 's/First/Other/' "$dir/docs/your-process.md"
expect 'a printed line: the page does not list: [A] First.
a printed line: the sources do not have: [A] Other.'
exit "$failures"
