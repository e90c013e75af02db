#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that surprises.sh (its path is the argument) finds what it is there to find.
# shellcheck disable=SC2016 # the backquotes are Markdown's
set -eu

check=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0

mkdir "$dir/Family"
cat >"$dir/Family/SomeTest.cpp" <<'END'
TEST(Suite, Plain) {}
TEST_F(Fixture, WithAFixture) {}
TEST_P(AVeryLongSuite,
       NamedOnTheNextLine) {}
// TEST(Suite, InAComment) {}
END

# expect STATUS OUTPUT ROW...: the result for a page with these rows.
expect() {
    status=$1
    output=$2
    shift 2
    {
        printf '%s\n' '# Page' '' '| What happens | Why it stays | Test |' '|---|---|---|'
        [ $# -eq 0 ] || printf '%s\n' "$@"
    } >"$dir/page.md"
    actual_status=0
    actual=$(cd "$dir" && sh "$check" page.md . 2>&1) || actual_status=$?
    if [ "$actual_status" != "$status" ] || [ "$actual" != "$output" ]; then
        printf 'for: %s\nexpected %s: %s\ngot %s: %s\n' \
            "$*" "$status" "$output" "$actual_status" "$actual"
        failures=1
    fi
}

expect 0 '' '| a | b | `Suite.Plain` |' '| a | b | `Fixture.WithAFixture`, `Suite.Plain` |'
expect 0 '' '| `a.b` | `c.d` | `AVeryLongSuite.NamedOnTheNextLine` |'
expect 1 'page.md:5: there is no test Suite.Gone' '| a | b | `Suite.Gone` |'
expect 1 'page.md:5: there is no test Suite.Plai' '| a | b | `Suite.Plain`, `Suite.Plai` |'
expect 1 'page.md:6: there is no test Suite.InAComment' \
    '| a | b | `Suite.Plain` |' '| a | b | `Suite.InAComment` |'
expect 1 'page.md:5: no test is named' '| `Suite.Plain` | b | none |'
expect 1 'no rows were found'
exit "$failures"
