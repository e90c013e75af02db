#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that a library offers exactly the symbols of Debian's list of them, with their versions. It
# has every form of a constructor and a destructor, which look alike by name.
#
# symbols.sh LIBRARY LIST: LIST is a debian/*.symbols; its lines that begin with a space have a
# symbol, its version and the first release that had it. Prints what is offered but not listed, and
# what is listed but not offered.
set -eu

library=$1
list=$2
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
export LC_ALL=C

# The version itself is a symbol, too, whose version is its own.
nm --dynamic --defined-only "$library" | awk '
    $2 == "A" { print $3 "@" $3; next }
    { sub(/@@/, "@", $3); print $3 }' | sort >"$dir/offered"
awk '/^ / { print $1 }' "$list" | sort >"$dir/listed"
comm -23 "$dir/offered" "$dir/listed" | sed 's/^/offered, but not listed: /' >"$dir/differences"
comm -13 "$dir/offered" "$dir/listed" | sed 's/^/listed, but not offered: /' >>"$dir/differences"
cat "$dir/differences"
[ ! -s "$dir/differences" ]
