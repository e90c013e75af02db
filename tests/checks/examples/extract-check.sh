#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that the sources made by extract.awk (its path is the first argument) find what they are
# there to find, when the compiler in the second argument compiles them.
set -eu

extract=$1
compiler=$2
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0

# In place of the real one: every test runs at once, and reports what does not hold.
mkdir -p "$dir/checks/examples"
cat >"$dir/checks/examples/Example.h" <<'END'
#include <cstdio>
#include <iostream>
#include <string>
struct Say { Say(const std::string& text) { std::cout << text; } };
#define TEST(suite, name) struct name { Say said{#name " runs\n"}; name(); } run##name; name::name()
#define EXPECT_TRUE(truth) if (!(truth)) std::cout << __FILE__ ":" << __LINE__ << " does not hold\n"
#define EXPECT_EQ(stated, printed) \
    std::ostream(nullptr) << ((stated) == printed || (std::cout << "not printed: " << (stated)))
namespace VornTest {
inline bool Is(const std::string& stated, const std::string& actual) { return stated == actual; }
inline bool Is(int stated, int actual) { return stated == actual; }
inline std::string RunExample(void (*example)()) { example(); return "printed\n"; }
}
END
echo 'int main() {}' >"$dir/main.cpp"

# expect STATUS OUTPUT NAME LINE...: what comes of a file NAME with these lines. STATUS is the last
# step that is tried: extracted, compiled, or run.
expect() {
    status=$1
    output=$2
    name=$3
    shift 3
    printf '%s\n' "$@" >"$dir/file"
    actual_status=run
    if ! awk -v name="$name" -f "$extract" "$dir/file" >"$dir/tests.cpp" 2>"$dir/output"; then
        actual_status=extracted
    elif ! "$compiler" -std=c++17 -I"$dir" -o "$dir/tests" "$dir/tests.cpp" "$dir/main.cpp" \
        2>"$dir/errors"; then
        actual_status=compiled
        sed -n 's/^\([^ ]*:[0-9]*\):[0-9]*: error: .*/\1/p' "$dir/errors" >"$dir/output"
    else
        "$dir/tests" >"$dir/output"
    fi
    actual=$(cat "$dir/output")
    if [ "$actual_status" != "$status" ] || [ "$actual" != "$output" ]; then
        printf 'for: %s\nexpected %s: %s\ngot %s: %s\n' \
            "$*" "$status" "$output" "$actual_status" "$actual"
        failures=1
    fi
}

expect run '' some.h '/// No example: nothing is run.' '///     | not | one |' 'int Sum(int, int);'
expect run 'Line1 runs' some.h '///     int a = 1 + 1; // 2, of course' '///     a += 1; // a is 3'
expect run "Line1 runs
some.h:2 does not hold" some.h '///     int a = 1 + 1;' '///     ++a;  // 4: not so'
expect run "Line2 runs
some.h:4 does not hold" some.h '// Text:' '//     std::string a = "b";' '//' '//     // a is "c"'
expect run "Line1 runs
some.h:2 does not hold
Line4 runs" some.h '//     #include <string>' '//     std::to_string(5); // "6"' '// Next:' \
    '//     std::to_string(5); // "5"'
expect run 'Line1 runs' some.h '//     std::puts; // prints "printed"'
expect run "Line1 runs
not printed: a
b" some.h '//     std::puts; // prints "a", then "b"'
expect run 'Line1 runs' some.h '//     int Two() { return 2; }' '//     int main() {' \
    '//         Two(); // 2' '//     }'
expect compiled some.h:2 some.h '// Text' '//     Missing();'
expect compiled page.md:3 page.md 'Text' '```cpp' 'Missing();' '```' '```console' 'Missing();' '```'
expect run '' page.md 'Text' '    Missing();'
expect run '' page.md '[a.cpp](a.cpp)' '' '```cpp' 'Missing();' '```'
expect compiled page.md:5 page.md '[a.cpp](a.cpp)' '' 'Text' '```cpp' 'Missing();' '```'
expect extracted 'some.h:2: the value 3 does not follow a statement that fits on its line' some.h \
    '//     int a = 1 +' '//         1; // 3'
exit "$failures"
