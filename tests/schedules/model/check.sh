#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks monitor.pml with Spin.
#
# check.sh MODEL DIRECTORY [quick]: works in DIRECTORY. Every configuration is free of errors, and
# every fault of the model is found; with "quick" the two largest configurations are left out.
set -eu

model=$(realpath "$1")
quick=${3:-}
mkdir -p "$2"
cd "$2"
failures=0

# check EXPECTED DEFINITION...: EXPECTED is the number of errors, 0 or 1.
check() {
    expected=$1
    shift
    spin -a "$@" "$model" >spin.txt
    cc -w -O2 -DSAFETY -DCOLLAPSE -o pan pan.c
    ./pan -E -m1000000 >pan.txt
    errors=$(sed -n 's/.*errors: \([0-9]*\).*/\1/p' pan.txt)
    states=$(sed -n 's/ *\([0-9.e+]*\) states, stored.*/\1/p' pan.txt)
    verdict=right
    if [ "$errors" != "$expected" ] || grep -qE 'max search depth too small|out of memory' pan.txt; then
        verdict=WRONG
        failures=1
    fi
    printf '%s: %s errors, %s states: %s\n' "$verdict" "$errors" "$states" "$*"
}

for kind in AUTO MANUAL SEMAPHORE; do
    check 0 -DKIND=$kind -DCANCELS=2
    check 0 -DKIND=$kind -DINITIAL=1
    check 0 -DKIND=$kind -DWAKES=1 -DFAILURES=1 -DCANCELS=0
    check 0 -DKIND=$kind -DDESTROY -DOPERATIONS=1
done
if [ -z "$quick" ]; then
    check 0 -DKIND=AUTO -DACTORS=2 -DOPERATIONS=1
    check 0 -DKIND=SEMAPHORE -DWAITERS=3 -DOPERATIONS=1 -DCANCELS=2
fi
for fault in 1 2 6 9 10; do
    check 1 -DFAULT=$fault -DKIND=AUTO
done
for fault in 3 4; do
    check 1 -DFAULT=$fault -DKIND=MANUAL -DDESTROY -DOPERATIONS=1
done
for fault in 5 7 8; do
    check 1 -DFAULT=$fault -DKIND=SEMAPHORE -DCANCELS=2
done
exit "$failures"
