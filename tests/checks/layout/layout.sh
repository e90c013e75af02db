#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that the classes of the public headers have the sizes and the virtual functions of a list,
# on which compiled programs rely.
#
# layout.sh LIST COMPILER DIRECTORY HEADER...: LIST has what list.sh prints for the rest; lines that
# begin with # and empty ones do not count. Prints the differences.
set -eu

list=$1
shift
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

sh "$(dirname "$0")/list.sh" "$@" >"$dir/actual"
[ -s "$dir/actual" ] || { echo "the headers have no classes" && exit 1; }
sed -e '/^#/d' -e '/^$/d' "$list" >"$dir/listed"
diff "$dir/listed" "$dir/actual"
