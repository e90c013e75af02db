#!/bin/sh
# SPDX-License-Identifier: MIT
# Holds what may include what, as the page of the architecture draws it.
#
# arrows.sh ROOT PAGE: prints every include below ROOT that goes against the table of PAGE that
# begins with "| Family |", and every file of the library that is in no row of it. Its columns: the
# family; its public header; what it has in Bases/Impl, where `Port/` is all of a directory; and
# what it uses besides: public headers of other families (`Time.h`), internal headers without their
# ending (`Assert`, `Port/Clock`), headers from outside (`pthread.h`), and libraries (`libxml/`).
#
# - A public header may include Export.h, the public headers and the headers from outside that its
#   row names, and the C++ library.
# - A unit or an internal header may include all that its row names, and the host's headers, but no
#   library that only other rows name.
# - An example program may include public headers, that of the version, and its own.
set -eu

page=$(realpath "$2")
cd "$1"
# shellcheck disable=SC2016 # the program is awk's
find Bases examples -type f \( -name '*.h' -o -name '*.cpp' \) | sort | xargs awk '
    # Puts what stands in backquotes in the cell into `items`, and returns how many there are.
    function split_cell(cell, items,    count) {
        count = 0
        while (match(cell, /`[^`]*`/)) {
            items[++count] = substr(cell, RSTART + 1, RLENGTH - 2)
            cell = substr(cell, RSTART + RLENGTH)
        }
        return count
    }

    function read_row(row,    cell, items, i, family) {
        split(row, cell, "|")
        family = cell[2]
        for (i = split_cell(cell[3] cell[4], items); i > 0; --i) {
            owner[items[i]] = family
            ++known
            may[family, items[i]] = 1
        }
        for (i = split_cell(cell[5], items); i > 0; --i) {
            may[family, items[i]] = 1
            if (items[i] ~ /\/$/)
                library[items[i]] = 1
        }
    }

    # What the table calls a file of the library: Time.h, Clock or Port/Clock_posix.
    function name_of(path,    is_public) {
        is_public = path ~ /^Bases\/[A-Za-z]*\.h$/
        sub(/^Bases\/(Impl\/)?/, "", path)
        if (!is_public)
            sub(/\.[a-z]*$/, "", path)
        return path
    }

    function directory_of(name) { return name ~ /\// ? substr(name, 1, index(name, "/")) : name }

    function family_of(name) {
        return name in owner ? owner[name] : owner[directory_of(name)]
    }

    # Whether the row of the family names it, or the directory that it is in.
    function names(family, name) {
        return (family, name) in may || (family, directory_of(name)) in may
    }

    function is_allowed(included) {
        if (included ~ /^Bases\//) {
            included = name_of(included)
            if (included == "Export.h")
                return FILENAME ~ /^Bases\/[A-Za-z]*\.h$/ || names(family, included)
            if (is_example)
                return included == "Version.h" || (included ~ /\.h$/ && included in owner)
            return names(family, included)
        }
        if (is_example)
            return 1
        if (FILENAME ~ /^Bases\/[A-Za-z]*\.h$/)
            return included !~ /[.\/]/ || (family, included) in may
        return !(directory_of(included) in library) || names(family, included)
    }

    FNR == NR {
        in_table = /^\| Family \|/ || (in_table && /^\|/)
        if (in_table && !/^\|[- |]*$/ && !/^\| Family \|/)
            read_row($0)
        next
    }

    FNR == 1 {
        is_example = FILENAME ~ /^examples\//
        family = is_example ? "" : family_of(name_of(FILENAME))
        if (!is_example && family == "" && FILENAME != "Bases/Export.h") {
            print FILENAME ":1: is in no row of the table of families"
            wrong = 1
        }
    }

    /^#[ \t]*include/ {
        match($0, /[<"][^>"]*/)
        included = substr($0, RSTART + 1, RLENGTH - 1)
        if (!is_allowed(included)) {
            print FILENAME ":" FNR ": may not include " included
            wrong = 1
        }
    }

    END {
        if (known == 0) {
            print "no table of families was found"
            wrong = 1
        }
        exit wrong
    }
' "$page"
