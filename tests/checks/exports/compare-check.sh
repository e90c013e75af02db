#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that compare.sh (its path is the first argument) finds what it is there to find, in a
# library that the compiler in the second argument makes.
set -eu

check=$1
compiler=$2
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0

cat >"$dir/library.cpp" <<'END'
#include <string>
namespace Some {
struct Thing { Thing(); std::string Text(const std::string& text) const; };
Thing::Thing() {}
std::string Thing::Text(const std::string& text) const { return text; }
__attribute__((visibility("hidden"))) void Hidden() {}
}
extern "C" void plain() {}
END
"$compiler" -shared -fPIC -O1 -o "$dir/library.so" "$dir/library.cpp"

# expect STATUS OUTPUT LINE...: the result for a list of these lines.
expect() {
    status=$1
    output=$2
    shift 2
    printf '%s\n' "$@" >"$dir/list"
    actual_status=0
    actual=$(sh "$check" "$dir/library.so" "$dir/list" 2>&1) || actual_status=$?
    if [ "$actual_status" != "$status" ] || [ "$actual" != "$output" ]; then
        printf 'for: %s\nexpected %s: %s\ngot %s: %s\n' \
            "$*" "$status" "$output" "$actual_status" "$actual"
        failures=1
    fi
}

constructor='Some::Thing::Thing()'
operation='Some::Thing::Text(std::string const&) const'
expect 0 '' '# all' "$constructor" '' "$operation" plain
expect 1 'offered, but not listed: plain' "$constructor" "$operation"
expect 1 "offered, but not listed: $operation" "$constructor" plain
expect 1 'listed, but not offered: Some::Hidden()' "$constructor" "$operation" plain 'Some::Hidden()'
expect 1 'listed twice: plain' plain "$constructor" "$operation" plain
exit "$failures"
