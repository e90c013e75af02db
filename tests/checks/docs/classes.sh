#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that the guide says once of each public class which threads may use an object.
#
# classes.sh ROOT: prints the classes of which it does not.
set -eu

cd "$1"
awk '
    FILENAME ~ /guide\.md$/ {
        if ($0 ~ /^\| Threads \| Classes \|$/)
            inside = 1
        else if ($0 !~ /^\|/)
            inside = 0
        while (inside && match($0, /`[A-Za-z0-9]+`/)) {
            ++said[substr($0, RSTART + 1, RLENGTH - 2)]
            $0 = substr($0, RSTART + RLENGTH)
        }
        next
    }
    /^(class VORN_BASES_API|struct) .*\{/ {
        sub(/ \{.*| : .*/, "")
        ++classes
        if (said[$NF]++ != 1) {
            print FILENAME ": the guide does not say once which threads may use " $NF
            wrong = 1
        }
        delete said[$NF]
    }
    END {
        for (name in said) {
            print "docs/guide.md: there is no class " name
            wrong = 1
        }
        if (classes == 0)
            print "no class was found"
        exit wrong || classes == 0
    }
' docs/guide.md Bases/*.h
