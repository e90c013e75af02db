#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that the library can take the place of the first release of its major version: nothing that
# a compiled program has of it is gone or other than it was, down to the types of parameters and
# the places of members, which its list of symbols does not show.
#
# abi.sh LIBRARY HEADERS BASELINE [accept]: a library with debugging information, and the directory
# of its public headers. BASELINE is compressed; with the last argument, it is written anew.
set -eu

library=$1
headers=$2
baseline=$3
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

abidw --exported-interfaces-only --headers-dir "$headers" --drop-private-types --no-show-locs \
    --no-corpus-path --no-comp-dir-path --type-id-style hash "$library" >"$dir/now.abi"
if [ "${4:-}" = accept ]; then
    xz -9 --stdout "$dir/now.abi" >"$baseline"
    exit
fi
xz --decompress --stdout "$baseline" >"$dir/baseline.abi"
abidiff "$dir/baseline.abi" "$dir/now.abi"
