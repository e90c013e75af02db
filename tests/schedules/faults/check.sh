#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that the explorer finds the planted faults.
#
# check.sh DIRECTORY PATCH...: for faults/NAME.patch, the program DIRECTORY/Fault_NAME, into which
# it is built, fails a schedule of one of the scenarios that the patch names after "Found by: ".
set -eu

directory=$1
shift
missed=0
for patch in "$@"; do
    name=$(basename "$patch" .patch)
    scenarios=$(sed -n 's/^Found by: //p' "$patch")
    status=0
    output=$("$directory/Fault_$name" --gtest_fail_fast "--gtest_filter=$scenarios" 2>&1) || status=$?
    finding=$(printf '%s\n' "$output" | sed -n 's/^schedule \([0-9]*\) fails: /\1: /p')
    if [ "$status" -ne 1 ] || [ -z "$finding" ]; then
        printf '%s was not found (status %s)\n' "$name" "$status"
        missed=1
    else
        printf '%-40s schedule %s\n' "$name" "$finding"
    fi
done
exit "$missed"
