#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that every planted fault below the directory ROOT still fits the source that it changes: a
# comment at the end of a line next to it is enough to have it left out.
#
# apply.sh ROOT
set -eu

cd "$1"
failures=0
for fault in tests/schedules/faults/*.patch fuzz/faults/*.patch; do
    patch -p1 --dry-run --force --quiet --reject-file=- <"$fault" >/dev/null || {
        echo "$fault does not fit"
        failures=1
    }
done
exit "$failures"
