#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that apply.sh (its path is the argument) finds what it is there to find.
set -eu

check=$(realpath "$1")
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

# plant DIRECTORY LINE: a patch there that changes the line of a source.
plant() {
    mkdir -p "$dir/$1"
    printf '%s\n' 'Changes a line.' '--- a/source' '+++ b/source' '@@ -1 +1 @@' "-$2" '+other' \
        >"$dir/$1/fault.patch"
}

echo line >"$dir/source"
plant tests/schedules/faults line
plant fuzz/faults line
sh "$check" "$dir" || { echo "faults that fit are refused" && exit 1; }
plant fuzz/faults 'line of before'
output=$(sh "$check" "$dir") && { echo "a fault that does not fit is not found" && exit 1; }
[ "$output" = "fuzz/faults/fault.patch does not fit" ] || { echo "got: $output" && exit 1; }
