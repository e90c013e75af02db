#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Checks that the targets find the planted faults.
#
# check.sh BUILD PATCH...: the program BUILD/fuzz/Fault_NAME, into which NAME.patch is built, breaks
# within a minute on an input from the corpus of its target or one that libFuzzer makes of them.
set -euo pipefail

build=$(realpath "$1")
shift
corpora=$(cd "$(dirname "$0")/../corpus" && pwd)
files=$(mktemp -d)
trap 'rm -rf "$files"' EXIT
missed=0
for patch in "$@"; do
    name=$(basename "$patch" .patch)
    target=$(sed -n 's/^Found by: //p' "$patch")
    mkdir "$files/$name"
    status=0
    TMPDIR=$files "$build/fuzz/Fault_$name" -max_total_time=60 -max_len=4096 -seed=1 \
        -print_final_stats=1 -artifact_prefix="$files/" "$files/$name" "$corpora/$target" \
        >"$files/log" 2>&1 || status=$?
    finding=$(sed -n -e 's/^wrong on route \([^:]*\): \(.*\)/\2, \1/p' \
        -e 's/^.*\(runtime error:\)/\1/p' \
        -e 's/^==[0-9]*== *ERROR: //p' "$files/log" | sed -n 1p)
    if [ "$status" -eq 0 ] || [ -z "$finding" ]; then
        printf '%s was not found (status %s)\n' "$name" "$status"
        missed=1
    else
        printf '%-40s %-12s input %-8s %s\n' "$name" "$target" \
            "$(sed -n 's/^stat::number_of_executed_units: *//p' "$files/log")" \
            "$finding"
    fi
done
exit "$missed"
