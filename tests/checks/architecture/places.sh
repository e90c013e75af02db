#!/bin/sh
# SPDX-License-Identifier: MIT
# Holds the table that leads from a behaviour to its unit and its tests, on the page of the
# architecture.
#
# places.sh ROOT PAGE: prints what is wrong with the table of PAGE that begins with "| Behaviour |".
# Its columns: the behaviour; the units below Bases and Bases/Impl, those of a wing with its name
# and without the host's (`Port/Clock` for Port/Clock_posix.cpp); and the test programs, where a
# star stands for any letters. Whatever it names exists, and no unit and no test program is missing.
set -eu

page=$(realpath "$2")
cd "$1"
# shellcheck disable=SC2016 # the program is awk's
find Bases tests -type f \( -path 'Bases/*.cpp' -o -path 'tests/*Test.cpp' \) | sort | awk '
    function complain(text) {
        print text
        wrong = 1
    }

    function is_like(name, pattern) {
        gsub(/\*/, "[A-Za-z0-9]*", pattern)
        return name ~ "^" pattern "$"
    }

    # Notes which of the files the names in the cell stand for.
    function look_up(cell, files,    name, file, found) {
        while (match(cell, /`[^`]*`/)) {
            name = substr(cell, RSTART + 1, RLENGTH - 2)
            cell = substr(cell, RSTART + RLENGTH)
            found = 0
            for (file in files)
                if (is_like(files[file], name)) {
                    placed[file] = 1
                    found = 1
                }
            if (!found)
                complain(FILENAME ":" FNR ": there is no " name)
        }
    }

    FILENAME == "-" {
        path = $0
        sub(/\.cpp$/, "")
        if (sub(/^tests\/.*\//, ""))
            tests[path] = $0
        else {
            sub(/^Bases\/(Impl\/)?/, "")
            if (/\//)
                sub(/_[a-z0-9]+$/, "")
            units[path] = $0
        }
        next
    }

    { in_table = /^\| Behaviour \|/ || (in_table && /^\|/) }
    in_table && !/^\|[- |]*$/ && !/^\| Behaviour \|/ {
        ++rows
        split($0, cell, "|")
        look_up(cell[3], units)
        look_up(cell[4], tests)
    }

    END {
        if (rows == 0)
            complain("no table of behaviours was found")
        for (path in units)
            if (!(path in placed))
                complain(path ":1: is in no row of the table of behaviours")
        for (path in tests)
            if (!(path in placed))
                complain(path ":1: is in no row of the table of behaviours")
        exit wrong
    }
' - "$page"
