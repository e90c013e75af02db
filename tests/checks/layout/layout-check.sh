#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that layout.sh (its path is the first argument) finds what it is there to find, with the
# compiler in the second argument.
set -eu

check=$1
compiler=$2
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0

# expect STATUS MEMBERS: the result for a class of these members and the list below.
expect() {
    printf '%s\n' "namespace Vorn { class Some { $2 }; }" >"$dir/Some.h"
    status=0
    sh "$check" "$dir/list" "$compiler" "$dir" Some.h >"$dir/output" 2>&1 || status=$?
    [ "$status" = "$1" ] || {
        printf 'for %s\nexpected %s, got %s: %s\n' "$2" "$1" "$status" "$(cat "$dir/output")"
        failures=1
    }
}

printf '%s\n' '# The classes' '' 'Vorn::Some size 16 align 8' '    Vorn::Some::First' \
    '    Vorn::Some::Second' >"$dir/list"
expect 0 'virtual void First(); virtual void Second(); int m_a;'
expect 0 'virtual void First(); virtual void Second(); int m_b, m_a; void Third();'
expect 1 'virtual void Second(); virtual void First(); int m_a;'
expect 1 'virtual void First(); virtual void Second(); virtual void Third(); int m_a;'
expect 1 'virtual void First(); virtual void Second(); int m_a[3];'
expect 1 'void First(); virtual void Second(); int m_a;'
expect 1 ''
exit "$failures"
