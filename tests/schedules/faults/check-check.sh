#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that check.sh (its path is the argument) notices faults that are not found.
set -eu

check=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0
echo 'Found by: Suite.Name' >"$dir/a.patch"

# expect STATUS TEXT SCRIPT: the result for a program that is this script.
expect() {
    printf '#!/bin/sh\n%s\n' "$3" >"$dir/Fault_a"
    chmod +x "$dir/Fault_a"
    status=0
    output=$(sh "$check" "$dir" "$dir/a.patch" 2>&1) || status=$?
    case $status:$output in
    "$1:"*"$2"*) ;;
    *)
        printf 'for: %s\nexpected %s: %s\ngot %s: %s\n' "$3" "$1" "$2" "$status" "$output"
        failures=1
        ;;
    esac
}

# shellcheck disable=SC2016 # the scripts are expanded when they run
expect 0 'schedule 3: race' '[ "$2" = --gtest_filter=Suite.Name ] && echo "schedule 3 fails: race" && exit 1'
expect 1 'a was not found (status 0)' 'echo "schedule 3 fails: race"'
expect 1 'a was not found (status 1)' 'echo "another failure" && exit 1'
expect 1 'a was not found (status 139)' 'echo "schedule 3 fails: race" && exit 139'
exit "$failures"
