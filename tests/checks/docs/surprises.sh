#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that the tests named in the last column of a page of surprises exist.
#
# surprises.sh PAGE TESTS: every row of a table in PAGE names at least one test, as `Suite.Name`,
# and each is a TEST, TEST_F, TEST_P or TYPED_TEST of a .cpp file below the directory TESTS.
set -eu

page=$1
tests=$2

# Prints "Suite.Name" for each test; a long one has its name on the line below.
list_tests() {
    find "$tests" -name '*.cpp' -exec awk '
        /^(TYPED_)?TEST(_F|_P)?\(/ { head = "" ; open = 1 }
        open {
            head = head $0
            if (head ~ /\)/) {
                sub(/^[A-Z_]*\(/, "", head)
                sub(/\).*/, "", head)
                gsub(/[ \t]/, "", head)
                sub(/,/, ".", head)
                print head
                open = 0
            }
        }
    ' {} +
}

# Prints what is wrong with each row, and how many there are.
list_tests | awk '
    FNR == NR { known[$0] = 1; next }
    /^\|[ -]*-/ || /^\| What happens / || !/^\|/ { next }
    {
        ++rows
        columns = split($0, column, " \\| ")
        rest = column[columns]
        names = 0
        while (match(rest, /`[^`]*`/)) {
            name = substr(rest, RSTART + 1, RLENGTH - 2)
            rest = substr(rest, RSTART + RLENGTH)
            ++names
            if (!(name in known)) {
                print FILENAME ":" FNR ": there is no test " name
                wrong = 1
            }
        }
        if (names == 0) {
            print FILENAME ":" FNR ": no test is named"
            wrong = 1
        }
    }
    END {
        if (rows == 0) {
            print "no rows were found"
            wrong = 1
        }
        exit wrong
    }
' - "$page"
