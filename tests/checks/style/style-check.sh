#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that style.sh (its path is the argument) finds what it is there to find.
set -eu

check=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

# In two parts, for this is not what these lines themselves are under.
licence=SPDX-License-''Identifier:
failures=0
words='Words of a comment that is as long as it takes to come up to the column that has to be the last'

# expect OUTPUT PATH LINE...: what is printed for a tree of a file PATH with these lines, below that
# of the licence.
expect() {
    output=$1
    path=$2
    shift 2
    case $path in
    *.h | *.cpp) expect_all "$output" "$path" "// $licence MIT" "$@" ;;
    *.md) expect_all "$output" "$path" "$@" ;;
    *) expect_all "$output" "$path" "# $licence MIT" "$@" ;;
    esac
}

# The same for nothing but these lines.
expect_all() {
    output=$1
    path=$2
    shift 2
    rm -rf "$dir/tree"
    mkdir -p "$dir/tree/$(dirname "$path")"
    printf '%s\n' "$@" >"$dir/tree/$path"
    status=0
    actual=$(sh "$check" "$dir/tree" 2>&1) || status=$?
    [ "$status" -eq 0 ] && found= || found=1
    if [ "$actual" != "$output" ] || [ "$found" != "${output:+1}" ]; then
        printf 'for %s\nexpected: %s\ngot %s: %s\n' "$path" "$output" "$status" "$actual"
        failures=1
    fi
}

guarded() { printf '#ifndef %s\n#define %s\n\n// A.\n\nint a;\n#endif' "$1" "$1"; }
expect '' Bases/Impl/XmlPath.h "$(guarded VORN_BASES_IMPL_XML_PATH_H)"
expect '' tests/Slot.h "$(guarded VORN_BASES_TESTS_SLOT_H)"
expect 'tests/Slot.h:1: the include guard is not VORN_BASES_TESTS_SLOT_H' \
    tests/Slot.h "$(guarded VORN_TESTS_SLOT_H)"
expect 'tests/A.h:1: the include guard is not VORN_BASES_TESTS_A_H' \
    tests/A.h '#pragma once' 'int a;'
expect 'Bases/A.h:1: the include guard is not VORN_BASES_A_H' \
    Bases/A.h "$(guarded VORN_BASES_A_H)" 'int b;'
expect '' Bases/A.h '// This file has no include guard, because it is included several times.' 'int a;'

expect '' Bases/Impl/A.cpp '// A.' '' '#include "A.h"'
expect 'Bases/Impl/A.cpp:2: does not begin with a comment that says what it holds' \
    Bases/Impl/A.cpp '#include "A.h"' '' '// A.'
expect 'Bases/A.h:5: does not begin with a comment that says what it holds' \
    Bases/A.h '#ifndef VORN_BASES_A_H' '#define VORN_BASES_A_H' '' 'int a;' '#endif'
expect '' a.cpp 'int a;'

expect '' tests/A.cpp '// A.' '#include "A.h"'
expect 'tests/A.cpp:2: does not begin with a comment that says what it tests' \
    tests/A.cpp '#include "A.h"' '// A.'

expect '' a.cpp "// $words" "int a = $words\"" '// https://'"$(printf '%0100d' 0)"
expect '' a.cpp "// $words é"
expect 'a.cpp:3: goes beyond column 100' a.cpp 'int a;' "int b; // $words"
expect 'a.sh:2: goes beyond column 100' a.sh "#     $words" "echo $words"
expect 'a.md:1: goes beyond column 100' a.md "- More: $words" '```' "More: $words" '```' "| ab | $words |"

# member LETTERS TYPE NAME [REST]: for such a member of the library.
member() {
    expect "${1:+Bases/a.cpp:4: $3 should begin with m_ and $1}" \
        Bases/a.cpp '// A class.' 'class A {' "    $2 $3${4:-};"
}
member '' int m_nSize ' = 0'
member '' int m_hFile
member '' int m_bOpen
member 'n|b|h' int m_size
member 'n|b|h' 'unsigned long' m_nsize '{0}'
member 'n|b|h' unsigned m_size ' = 0'
member 'n|b|h' 'mutable std::atomic<std::uint32_t>' m_word
member 'n|b|h' 'static const std::size_t' m_size
member 'n|b|h' int m_pSize ' VORN_GUARDED_BY(m_lock) = 0'
member '' bool m_bOpen ' = false'
member b 'std::atomic<bool>' m_open
member b bool m_nOpen ' = false'
member '' 'std::string' m_strName
member str 'std::string' m_name
member '' 'sem_t*' m_hSem
member '' 'const char* const' m_pText
member 'p|h' 'const char* const' m_text
member 'p|h' 'std::unique_ptr<unsigned char[]>' m_data
member '' 'unsigned char' m_bytes '[16]'
member '' 'std::list<Command*>' m_commands
member '' 'Lock&' m_lock
member '' 'pthread_mutex_t' m_mutex
member '' return m_size
member '' '' m_size ' = 0'
expect '' tests/a.cpp '// A.' 'class A {' '    int m_size;'

long=$(printf '// A.\n'; seq 797)
expect '' tests/a.cpp "$long"
expect '' a.cpp "$long" 800
expect 'tests/a.cpp:800: a file of tests has fewer than 800 lines' tests/a.cpp "$long" 800

expect_all '' a.sh '#!/bin/sh' "# $licence MIT" 'true'
expect_all '' a.map "/* $licence MIT */"
expect_all '' tests/checks/consumer/main.cpp 'int main() {}'
expect_all 'a.sh:1: does not begin with the line of its licence' \
    a.sh '#!/bin/sh' 'true' "# $licence MIT"
expect_all 'a.py:1: does not begin with the line of its licence' a.py "# $licence ISC"
expect_all 'a.cpp:1: does not begin with the line of its licence' a.cpp 'int a;'
exit "$failures"
