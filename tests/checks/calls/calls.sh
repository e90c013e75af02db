#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that every call of the library to the system goes through the scripted platform of the
# tests.
#
# calls.sh NM PROGRAM LIST OBJECT...: PROGRAM is a test program that is linked with the platform,
# and the OBJECTs are the library's. A function that they need and do not have themselves is one
# that PROGRAM stands in front of, or one of LIST, which has a name a line; a name that ends in *
# stands for all that begin so. Lines that begin with # and empty ones do not count. Names of C++
# count only where they are operators new and delete.
set -eu

nm=$1
program=$2
list=$3
shift 3
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
export LC_ALL=C

"$nm" --defined-only "$program" | awk '{ print $3 }' | sort -u >"$dir/program"
"$nm" --defined-only "$@" | awk 'NF == 3 { print $3 }' | sort -u >"$dir/own"
"$nm" --undefined-only "$@" | awk 'NF == 2 { print $2 }' |
    grep -E '^([^_]|_[^Z]|_Z[nd][alw])' | sort -u | comm -23 - "$dir/own" >"$dir/needed"
[ -s "$dir/needed" ] || { echo "the objects need nothing: are they the library's?" && exit 1; }

awk -v list="$list" -v program="$dir/program" '
    BEGIN {
        while ((getline line <program) > 0)
            known[line] = 1
        while ((getline line <list) > 0)
            if (line ~ /\*$/)
                prefix[substr(line, 1, length(line) - 1)] = 1
            else
                listed[line] = 1
    }
    function is_listed(name, start) {
        if (name in listed)
            return 1
        for (start in prefix)
            if (index(name, start) == 1)
                return 1
        return 0
    }
    {
        scripted = ("__wrap_" $1) in known || ($1 ~ /^_Z/ && $1 in known)
        if (!scripted && !is_listed($1))
            print "neither scripted nor listed: " $1
        if (scripted && $1 in listed)
            print "scripted and listed: " $1
    }
' "$dir/needed" >"$dir/wrong"
cat "$dir/wrong"
[ ! -s "$dir/wrong" ]
